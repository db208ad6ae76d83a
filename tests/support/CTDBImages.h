#pragma once

#include "disc/CTDBChecksum.h"
#include "disc/CTDBDatabase.h"
#include "disc/CTDBTOC.h"

#include <QByteArray>
#include <QList>

#include <optional>

// Discs for the CUETools database tests: the database client's own synthetic test image,
// made again from its description, and the answers the database gives.
namespace CTDBImages {

// The seeded generator of the .NET runtime (a subtractive lagged generator), whose draws
// make the database client's test images.
class SeededRandom {
public:
    explicit SeededRandom(int seed);
    int next();

private:
    int m_state[56] = {};
    int m_next = 0;
    int m_nextPrime = 21;
};

// "s1 s2 … lead-out" as the client's tests write a disc: all audio, track 1's INDEX 00 at 0.
CTDBTOC audioDisc(const QList<qint64>& starts, qint64 leadOut);

// The audio of an image of `sectors` sectors with `seed`, one draw a byte, starting
// `offsetSamples` samples into the draws.
QByteArray seededAudio(qint64 sectors, int seed, qint64 offsetSamples = 0);

// The audio tracks of `stream`, whose first sample is the first audio track's INDEX 00 (its
// INDEX 01 on a disc whose data comes first), as a rip keeps them.
QList<std::optional<CTDB::TrackSamples>> tracksOf(const CTDBTOC& toc, const QByteArray& stream);

// The CRC-32 of stream samples [from, to), zero outside the stream.
quint32 streamCRC(const QByteArray& stream, qint64 from, qint64 to);

// The lookup's XML answer holding `entries`.
QByteArray answer(const QList<CTDB::Entry>& entries);

} // namespace CTDBImages
