#pragma once

#include <QString>

#include <vector>

// Music made in the test and encoded with FFmpeg's own encoders, so that the same piece can
// be had in several formats and bit rates.
namespace EncodedAudio {

inline constexpr int sampleRate = 44100;

// Stereo, interleaved: a melody of notes with overtones, different for each seed.
std::vector<float> music(unsigned seed, double seconds);

// Encodes by the extension of `path`: "flac", "mp3" (LAME, at `bitRate`), "ogg" (Vorbis, at
// `bitRate`) or "wav". Returns the path; a failure ends the test run.
QString write(const std::vector<float>& stereo, const QString& path, int bitRate = 192000);
// The same for `channels` interleaved at `rate`; also "m4a" (AAC) and "opus" (48 kHz only).
QString write(const std::vector<float>& interleaved, int channels, int rate, const QString& path,
              int bitRate = 192000);

// Flips bytes in the middle of a FLAC file's audio, inside one frame, leaving the header and
// every metadata block whole: the damage `flac -t` reports and a player may play past.
void damageMiddleFrame(const QString& path);

} // namespace EncodedAudio
