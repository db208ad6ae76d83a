#pragma once

#include <QString>

// Audio files for tests, always copies in a folder the test owns.
namespace AudioFixtures {

// The committed sample at tests/data/audio/<relativePath>.
QString samplePath(const QString& relativePath);

// Copies a committed sample to `destination` (creating its folder) and returns that path.
QString copySample(const QString& relativePath, const QString& destination);

// A PCM WAV file of silence, 44.1 kHz stereo, of the given length.
QString writeSilentWav(const QString& destination, double seconds);
// The same as 16-bit stereo AIFF, without tags.
QString writeSilentAiff(const QString& destination, double seconds);

// Clean base files, one per container the library accepts, by extension:
// "flac", "mp3", "m4a", "ogg", "opus" ("wav" is generated).
QString cleanSample(const QString& extension);

// A tiny valid PNG (1x1 pixel) and JPEG header, for artwork tests.
QByteArray pngBytes();

} // namespace AudioFixtures
