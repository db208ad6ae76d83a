#pragma once

#include "DeviceProfile.h"
#include "library/Track.h"
#include "platform/AudioTranscoding.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>
#include <stdexcept>

class TranscodeCache;

// One library file into one MP3 or M4A file on a device: decoded, resampled to 44.1 kHz
// stereo and encoded at the bit rate given, then tagged like the track. The file is written
// under a hidden name in the destination's folder and renamed into place only when complete,
// so a failure or a kill never leaves a file that a later diff would take for a good one.
namespace Transcoder {

class TranscodeError : public std::runtime_error {
public:
    // readFailed: the source did not open, decode or ended short. writeFailed: the encoder,
    // the file on the device or its tags.
    enum class Kind { noAudioTrack, readFailed, writeFailed };

    // `source` is the file transcoded, `detail` the reason in words.
    TranscodeError(Kind kind, const QString& source, const QString& detail = {});

    Kind kind() const { return m_kind; }
    const QString& source() const { return m_source; }
    const QString& detail() const { return m_detail; }
    // The sentence the user reads; what() holds it too, in UTF-8.
    QString message() const;

private:
    Kind m_kind;
    QString m_source;
    QString m_detail;
};

// Everything besides the source and its tags that shapes the file a transcode writes. The
// transcode cache keys its files by these, so each new one belongs here and in cacheText().
struct Settings {
    OutputFormat format = OutputFormat::mp3;
    qint64 bitrateKbps = 320;
    std::optional<int> coverPixels; // the longest side of the embedded cover; none keeps it

    // The settings as text: equal settings, equal text.
    QString cacheText() const;

    bool operator==(const Settings&) const = default;
};

// What turns a source into an encoded file: AudioTranscoding::transcode, unless a test counts
// or fails its runs.
using Encoder = std::function<void(const QString& source, const QString& destination,
                                   const AudioTranscoding::Target& target)>;

// What a transcode may draw on besides the encoder itself.
struct Means {
    const TranscodeCache* cache = nullptr; // none: every transcode encodes
    Encoder encoder;                       // empty: FFmpeg
};

// The container, encoder, rate, channels and bit rate for a format. The format must not be
// keepSource, and the bit rate in bit/s must fit: either is a programming error.
AudioTranscoding::Target encoderSettings(OutputFormat format, qint64 bitrateKbps);

// Blocking. With `tags`, the track's fields and identity and its cover (its artworkData, or
// else the source's own picture, fitted to the settings' size) are written into the result.
// With a cache and `tags`, a result kept for the same track, source file and settings is
// copied instead of encoded, and a new one is kept. An existing destination is replaced only
// on success; what a killed transcode to it left goes first. Throws TranscodeError.
void transcodeFile(const QUrl& from, const QUrl& to, const Settings& settings,
                   const std::optional<Track>& tags = std::nullopt, const Means& means = {});

// transcodeFile on the global thread pool.
QCoro::Task<> transcode(QUrl from, QUrl to, Settings settings, std::optional<Track> tags = std::nullopt);

// The front cover a device gets for the track: its artworkData, or else the picture in its file.
std::optional<QByteArray> frontCover(const Track& track);

// Blocking. The file copied as it is but for its pictures: the front cover (the track's
// artworkData, or else the file's own) fitted to `coverPixels` as the only one. Written like a
// transcode, under a hidden name renamed into place when complete, and given the source's
// modification time, by which the next diff knows it fresh. Throws TranscodeError.
void copyWithFittedCover(const QUrl& from, const QUrl& to, int coverPixels, const Track& track);

} // namespace Transcoder
