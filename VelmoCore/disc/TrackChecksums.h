#pragma once

#include <QString>
#include <QtGlobal>

// The checksums of one ripped track: AccurateRip's two and the two CRC32s that other rippers'
// logs print. Each is over the track's samples as 32-bit little-endian words, left channel in
// the low half.
struct TrackChecksums {
    quint32 v1 = 0;
    quint32 v2 = 0;
    quint32 crc32 = 0;
    quint32 crc32WithoutSilence = 0; // 16-bit samples of value 0 left out
    quint32 crc450 = 0; // AccurateRip's checksum of the track's frame 450 alone

    bool operator==(const TrackChecksums&) const = default;
};

// Sums a track's checksums as its frames go by, so that the rip needs no second pass. The
// AccurateRip sums weigh each stereo sample with its 1-based position in the track; on a
// disc's first track positions below 5 · 588 count for nothing, on its last track the final
// 5 · 588 samples, as drives cannot be trusted to read that close to the lead-in and lead-out.
class TrackChecksummer {
public:
    static constexpr qint64 samplesPerFrame = 588;
    static constexpr qint64 skippedSamples = 5 * samplesPerFrame;

    TrackChecksummer(qint64 totalSamples, bool firstTrack, bool lastTrack);

    // Stereo pairs of host-order 16-bit samples, as a 2,352-byte CD frame holds them.
    void add(const char* samples, qint64 pairs);
    TrackChecksums result() const;

    // The v1 checksum of 588 stereo samples, weighed 1 to 588: what a database entry's
    // frame-450 checksum is made of, on whatever frame it starts.
    static quint32 frameChecksum(const quint32* words);
    // The 32-bit word of one stereo pair.
    static quint32 word(const char* pair);

private:
    qint64 m_position = 0; // of the last sample added, from 1
    qint64 m_from;
    qint64 m_to;
    quint32 m_v1 = 0;
    quint32 m_v2High = 0;
    quint32 m_crc32 = 0xFFFFFFFF;
    quint32 m_crc32WithoutSilence = 0xFFFFFFFF;
    quint32 m_crc450 = 0;
};

// The checksums of an audio file's samples as track of a disc, decoded whole. Blocking;
// throws AudioDecoder::DecodeError for a file that does not decode as 44.1 kHz stereo.
TrackChecksums checksumsOfFile(const QString& path, bool firstTrack, bool lastTrack);
