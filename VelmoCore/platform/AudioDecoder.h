#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <span>
#include <stdexcept>
#include <vector>

// FFmpeg behind two calls: the decoded samples of a file's first audio stream, and a digest of
// its compressed packets, which changes with the audio and not with the tags.
namespace AudioDecoder {

struct Samples {
    int sampleRate = 0;
    int channels = 0;           // at most the `maxChannels` asked for
    std::vector<float> samples; // interleaved, at the file's own rate
};

class DecodeError : public std::runtime_error {
public:
    // unreadable: gone, not audio or of a codec we lack. damaged: a frame the codec rejects, or
    // audio that ends before the length the file states.
    enum class Kind { unreadable, damaged };

    explicit DecodeError(const std::string& sentence, Kind kind = Kind::unreadable)
        : std::runtime_error(sentence)
        , m_kind(kind)
    {
    }

    Kind kind() const { return m_kind; }

private:
    Kind m_kind;
};

// A position in the audio as the user reads it: "03:07".
QString position(double seconds);

// At most `maxSeconds` of audio, keeping only the first `maxChannels` channels. Throws
// DecodeError for a file that has gone, is not audio or does not decode, and a damaged one for
// a frame that does not decode or a FLAC file shorter than its STREAMINFO says: nothing may be
// computed over silently shortened audio.
Samples decode(const QString& path, double maxSeconds, int maxChannels);

// The same audio handed over block by block as it decodes, so that a whole album can be
// measured in little memory. `onBlock` receives the rate, the channels kept and interleaved
// frames; the checks and throws are those of decode. An infinite `maxSeconds` is the whole file.
using BlockHandler = std::function<void(int sampleRate, int channels, std::span<const float> interleaved)>;
void decode(const QString& path, double maxSeconds, int maxChannels, const BlockHandler& onBlock);

// A hash of the packets that hold the first `maxSeconds` of audio, without decoding them.
// Throws DecodeError as decode does.
QByteArray packetDigest(const QString& path, double maxSeconds);

} // namespace AudioDecoder
