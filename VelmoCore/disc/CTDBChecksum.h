#pragma once

#include "CTDBTOC.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QtGlobal>

#include <optional>

// The CUETools database's checksums of a rip: the plain CRC-32 of the audio's little-endian
// bytes over a window that leaves out the hidden pregap, the first 5,880 samples and the last
// 5,880 + (N mod 5,880), N being the samples from the first audio track's INDEX 01 to the end
// of the audio; per track the same window cut at the tracks' INDEX 01. A window moved by a
// read offset finds a rip of another pressing or an uncorrected drive.
namespace CTDB {

constexpr qint64 samplesPerSector = 588;
constexpr qint64 stride = 10 * samplesPerSector;
// The database's offset range for the disc, and the narrower one each track tries alone.
constexpr qint64 discOffsetRange = stride - 1;
constexpr qint64 trackOffsetRange = 5 * samplesPerSector - 1;
// What a track keeps of its start and end: enough for the head or tail skip and any offset.
constexpr qint64 edgeSamples = 29 * samplesPerSector;

// CRC-32 (zlib's) continued over more bytes; 0 begins one.
quint32 crc32(quint32 crc, const char* bytes, qint64 count);

// A track's audio as the check needs it: its first and last edgeSamples samples and the CRC
// of those between. A track shorter than twice that keeps all of its samples in `head`.
struct TrackSamples {
    qint64 length = 0; // stereo samples
    QByteArray head;
    quint32 coreCRC = 0;
    QByteArray tail;

    // A track of silence: the stand-in for one that was not ripped or is damaged.
    static TrackSamples silence(qint64 length);

    bool operator==(const TrackSamples&) const = default;
};

// Keeps a track's TrackSamples as its samples go by, so that a rip reads nothing twice.
class TrackSummer {
public:
    explicit TrackSummer(qint64 totalSamples);

    // Little-endian 16-bit stereo pairs, as a CD frame holds them.
    void add(const char* samples, qint64 pairs);
    TrackSamples result() const;

private:
    TrackSamples m_samples;
    qint64 m_position = 0;
    quint32 m_core = 0;
};

// The TrackSamples of an audio file, decoded whole. Blocking; throws AudioDecoder::DecodeError
// for a file that does not decode as 44.1 kHz stereo.
TrackSamples samplesOfFile(const QString& path);

// The whole audio of a disc's rip, put together from its tracks, and its checksums at any
// offset within the database's range.
class DiscChecksums {
public:
    // One TrackSamples per audio track of `toc`, in order. Throws std::invalid_argument when
    // their count or lengths are not the disc's.
    DiscChecksums(const CTDBTOC& toc, QList<TrackSamples> tracks);

    qsizetype trackCount() const { return m_tracks.size(); }

    // The whole-disc CRC with the window moved by `offset` samples (later samples for a
    // positive one), |offset| ≤ discOffsetRange.
    quint32 discCRC(qint64 offset = 0) const;
    // Track `track` (from 0), |offset| ≤ discOffsetRange.
    quint32 trackCRC(qsizetype track, qint64 offset = 0) const;

    // The CRCs at every offset from −range to +range, in that order, by a rolling CRC over
    // one window rather than one pass per offset. Empty for a window too short to have one.
    QList<quint32> discCRCs(qint64 range = discOffsetRange) const;
    QList<quint32> trackCRCs(qsizetype track, qint64 range = trackOffsetRange) const;

private:
    struct Window {
        qint64 from = 0;
        qint64 to = 0;
    };

    Window discWindow() const;
    Window trackWindow(qsizetype track) const;
    quint32 crcOf(qint64 from, qint64 to) const;
    QByteArray bytes(qint64 from, qint64 to) const;
    QList<quint32> rolling(Window window, qint64 range) const;

    QList<TrackSamples> m_tracks;
    QList<qint64> m_starts; // samples from the first audio track's INDEX 01, then the end
    qint64 m_tail = 0;
};

} // namespace CTDB
