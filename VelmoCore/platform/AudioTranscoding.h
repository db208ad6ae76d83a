#pragma once

#include <QString>

#include <stdexcept>

// FFmpeg behind one call: a file of any format it reads, decoded, resampled and encoded into
// one new file. It knows nothing of tags; the caller chooses where the file goes.
namespace AudioTranscoding {

struct Target {
    QString container; // FFmpeg's muxer name: "mp3", "ipod"
    QString encoder;   // FFmpeg's encoder name: "libmp3lame", "aac"
    int sampleRate = 44100;
    int channels = 2;
    qint64 bitRate = 0; // bit/s
};

class Failure : public std::runtime_error {
public:
    // noAudio: no audio stream, found before anything is written. read: the source did not
    // open, decode or ended short of its stated length. write: the encoder or the output.
    enum class Stage { noAudio, read, write };

    Failure(Stage stage, const QString& detail);

    Stage stage() const { return m_stage; }
    // The reason in words, without a full stop: "there is no space left on the device".
    const QString& detail() const { return m_detail; }

private:
    Stage m_stage;
    QString m_detail;
};

// Writes `destination` (replacing a file there) from the first audio stream of `source`.
// Blocking, safe to run on several threads at once. Throws Failure; the destination may then
// hold a partial file, which the caller removes.
void transcode(const QString& source, const QString& destination, const Target& target);

} // namespace AudioTranscoding
