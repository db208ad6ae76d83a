#pragma once

#include <QByteArray>
#include <QString>

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
    using std::runtime_error::runtime_error;
};

// At most `maxSeconds` of audio, keeping only the first `maxChannels` channels. Throws
// DecodeError for a file that has gone, is not audio or does not decode.
Samples decode(const QString& path, double maxSeconds, int maxChannels);

// A hash of the packets that hold the first `maxSeconds` of audio, without decoding them.
// Throws DecodeError as decode does.
QByteArray packetDigest(const QString& path, double maxSeconds);

} // namespace AudioDecoder
