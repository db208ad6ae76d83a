#pragma once

#include "disc/AccurateRipDatabase.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

// Disc images and raw tables of contents made inside the tests.
namespace DiscImages {

// Little-endian 16-bit stereo PCM of `frames` CD frames: a tone and noise that differ with `seed`,
// so that a frame put in the wrong place shows.
QByteArray pcm(qint64 frames, int seed);
// Little-endian PCM of `frames` CD frames in which every stereo sample holds its own position,
// counted from 0: the left channel the low 16 bits, the right channel the high ones.
QByteArray numberedPCM(qint64 frames);
QByteArray bigEndian(const QByteArray& pcm);
QByteArray wave(const QByteArray& pcm);

struct Descriptor {
    int session = 1;
    int control = 0;
    int point = 0;
    qint64 frame = 0;
};

// Full TOC bytes; the header's `length` is the descriptors' unless given.
QByteArray fullTOC(const QList<Descriptor>& descriptors, int firstSession = 1, int lastSession = 1,
                   std::optional<int> length = std::nullopt);

// A plain audio disc: tracks in session 1 at the offsets and its lead-out.
QByteArray audioTOC(const QList<qint64>& offsets, qint64 leadOut);

// The bytes of a dBAR answer as the AccurateRip database sends it.
QByteArray accurateRipAnswer(const QList<AccurateRip::Pressing>& pressings);

} // namespace DiscImages

// What a FLAC file holds, decoded with libFLAC.
namespace FlacFiles {

struct Decoded {
    QByteArray pcm; // little-endian 16-bit interleaved
    qint64 totalSamples = 0; // from STREAMINFO
    unsigned channels = 0;
    unsigned bitsPerSample = 0;
    unsigned sampleRate = 0;
};

std::optional<Decoded> decode(const QString& path);

} // namespace FlacFiles
