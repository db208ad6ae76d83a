#include "CTDBChecksum.h"

#include "platform/AudioDecoder.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <stdexcept>

namespace CTDB {

namespace {

constexpr qint64 bytesPerSample = 4;

quint32 combine(quint32 first, quint32 second, qint64 secondBytes)
{
    return quint32(crc32_combine(first, second, z_off_t(secondBytes)));
}

// The CRC of `count` zero bytes, by doubling rather than by feeding them.
quint32 zerosCRC(qint64 count)
{
    quint32 result = 0;
    const char zero = 0;
    quint32 block = crc32(0, &zero, 1);
    qint64 blockBytes = 1;
    for (; count > 0; count >>= 1) {
        if (count & 1)
            result = combine(result, block, blockBytes);
        block = combine(block, block, blockBytes);
        blockBytes *= 2;
    }
    return result;
}

} // namespace

quint32 crc32(quint32 crc, const char* bytes, qint64 count)
{
    // zlib takes at most a uInt at a time.
    constexpr qint64 chunk = qint64(1) << 30;
    for (; count > 0; count -= std::min(count, chunk), bytes += chunk)
        crc = quint32(::crc32(crc, reinterpret_cast<const Bytef*>(bytes), uInt(std::min(count, chunk))));
    return crc;
}

TrackSamples TrackSamples::silence(qint64 length)
{
    TrackSamples samples{.length = length};
    if (length <= 2 * edgeSamples) {
        samples.head = QByteArray(length * bytesPerSample, '\0');
    } else {
        samples.head = QByteArray(edgeSamples * bytesPerSample, '\0');
        samples.tail = samples.head;
        samples.coreCRC = zerosCRC((length - 2 * edgeSamples) * bytesPerSample);
    }
    return samples;
}

TrackSummer::TrackSummer(qint64 totalSamples)
{
    m_samples.length = totalSamples;
}

void TrackSummer::add(const char* samples, qint64 pairs)
{
    const qint64 length = m_samples.length;
    const bool whole = length <= 2 * edgeSamples;
    while (pairs > 0) {
        qint64 take = pairs;
        if (whole || m_position < edgeSamples) {
            if (!whole)
                take = std::min(take, edgeSamples - m_position);
            m_samples.head.append(samples, take * bytesPerSample);
        } else if (m_position < length - edgeSamples) {
            take = std::min(take, length - edgeSamples - m_position);
            m_core = crc32(m_core, samples, take * bytesPerSample);
        } else {
            m_samples.tail.append(samples, take * bytesPerSample);
        }
        m_position += take;
        samples += take * bytesPerSample;
        pairs -= take;
    }
}

TrackSamples TrackSummer::result() const
{
    TrackSamples samples = m_samples;
    samples.coreCRC = m_core;
    return samples;
}

TrackSamples samplesOfFile(const QString& path)
{
    constexpr double wholeFile = 24.0 * 3600.0;
    const AudioDecoder::Samples decoded = AudioDecoder::decode(path, wholeFile, 2);
    if (decoded.sampleRate != 44100 || decoded.channels != 2)
        throw AudioDecoder::DecodeError("not CD audio: 44,100 Hz stereo");
    const qint64 pairs = qint64(decoded.samples.size()) / 2;
    TrackSummer summer(pairs);
    // Sixteen-bit samples come back from the decoder as exact fractions of 32,768.
    std::array<char, samplesPerSector * bytesPerSample> sector{};
    for (qint64 at = 0; at < pairs; at += samplesPerSector) {
        const qint64 count = std::min(samplesPerSector, pairs - at);
        for (qint64 i = 0; i < 2 * count; ++i) {
            const auto value =
                qint16(std::clamp(std::lrint(double(decoded.samples[size_t(2 * at + i)]) * 32768.0), -32768L, 32767L));
            sector[size_t(2 * i)] = char(quint16(value) & 0xFF);
            sector[size_t(2 * i + 1)] = char(quint16(value) >> 8);
        }
        summer.add(sector.data(), count);
    }
    return summer.result();
}

DiscChecksums::DiscChecksums(const CTDBTOC& toc, QList<TrackSamples> tracks)
    : m_tracks(std::move(tracks))
{
    for (qint64 boundary : toc.audioBoundaries())
        m_starts.append(boundary * samplesPerSector);
    if (m_starts.size() != m_tracks.size() + 1)
        throw std::invalid_argument("the tracks are not the disc's");
    for (qsizetype i = 0; i < m_tracks.size(); ++i) {
        if (m_tracks.at(i).length != m_starts.at(i + 1) - m_starts.at(i))
            throw std::invalid_argument("a track's length is not the disc's");
    }
    m_tail = stride + m_starts.constLast() % stride;
}

DiscChecksums::Window DiscChecksums::discWindow() const
{
    return {stride, m_starts.constLast() - m_tail};
}

DiscChecksums::Window DiscChecksums::trackWindow(qsizetype track) const
{
    return {m_starts.at(track) + (track == 0 ? stride : 0),
            track + 1 < m_tracks.size() ? m_starts.at(track + 1) : m_starts.constLast() - m_tail};
}

// Walks the stream's pieces over [from, to): stored edges are summed byte by byte, a track's
// middle joins whole by its CRC, and samples outside the audio read as silence.
quint32 DiscChecksums::crcOf(qint64 from, qint64 to) const
{
    if (to <= from)
        return 0;
    quint32 crc = 0;
    const qint64 end = m_starts.constLast();
    if (from < 0) {
        const qint64 until = std::min<qint64>(to, 0);
        crc = combine(crc, zerosCRC((until - from) * bytesPerSample), (until - from) * bytesPerSample);
        from = until;
    }
    for (qsizetype i = 0; i < m_tracks.size() && from < to; ++i) {
        const TrackSamples& track = m_tracks.at(i);
        const qint64 base = m_starts.at(i);
        const qint64 headEnd = base + track.head.size() / bytesPerSample;
        const qint64 tailStart = base + track.length - track.tail.size() / bytesPerSample;
        const auto stored = [&](const QByteArray& bytes, qint64 start, qint64 stop) {
            const qint64 a = std::max(from, start);
            const qint64 b = std::min(to, stop);
            if (a < b)
                crc = crc32(crc, bytes.constData() + (a - start) * bytesPerSample, (b - a) * bytesPerSample);
        };
        stored(track.head, base, headEnd);
        if (from < tailStart && to > headEnd && headEnd < tailStart) {
            if (from > headEnd || to < tailStart)
                qFatal("A CTDB window ends inside the middle of a track");
            crc = combine(crc, track.coreCRC, (tailStart - headEnd) * bytesPerSample);
        }
        stored(track.tail, tailStart, base + track.length);
    }
    if (to > end) {
        const qint64 since = std::max(from, end);
        crc = combine(crc, zerosCRC((to - since) * bytesPerSample), (to - since) * bytesPerSample);
    }
    return crc;
}

QByteArray DiscChecksums::bytes(qint64 from, qint64 to) const
{
    QByteArray result((to - from) * bytesPerSample, '\0');
    for (qsizetype i = 0; i < m_tracks.size(); ++i) {
        const TrackSamples& track = m_tracks.at(i);
        const qint64 base = m_starts.at(i);
        const qint64 headEnd = base + track.head.size() / bytesPerSample;
        const qint64 tailStart = base + track.length - track.tail.size() / bytesPerSample;
        const auto copy = [&](const QByteArray& bytes, qint64 start, qint64 stop) {
            const qint64 a = std::max(from, start);
            const qint64 b = std::min(to, stop);
            if (a < b)
                std::copy_n(bytes.constData() + (a - start) * bytesPerSample, (b - a) * bytesPerSample,
                            result.data() + (a - from) * bytesPerSample);
        };
        copy(track.head, base, headEnd);
        if (std::max(from, headEnd) < std::min(to, tailStart))
            qFatal("CTDB offsets reach into the middle of a track");
        copy(track.tail, tailStart, base + track.length);
    }
    return result;
}

quint32 DiscChecksums::discCRC(qint64 offset) const
{
    const Window window = discWindow();
    return crcOf(window.from + offset, window.to + offset);
}

quint32 DiscChecksums::trackCRC(qsizetype track, qint64 offset) const
{
    const Window window = trackWindow(track);
    return crcOf(window.from + offset, window.to + offset);
}

QList<quint32> DiscChecksums::discCRCs(qint64 range) const
{
    return rolling(discWindow(), range);
}

QList<quint32> DiscChecksums::trackCRCs(qsizetype track, qint64 range) const
{
    return rolling(trackWindow(track), range);
}

// Moving the window one byte on adds the byte that enters and takes out the one that leaves:
// the leaving byte's share of the register is its table value carried through the window's
// length of zero bytes, which a table of 256 gives for every byte value.
QList<quint32> DiscChecksums::rolling(Window window, qint64 range) const
{
    const qint64 length = (window.to - window.from) * bytesPerSample;
    if (length <= 0)
        return {};
    const quint32 zeros = zerosCRC(length);
    std::array<quint32, 256> leaving{};
    for (int byte = 0; byte < 256; ++byte) {
        const char value = char(byte);
        leaving[byte] = zeros ^ combine(crc32(0, &value, 1), zeros, length);
    }
    const auto* table = get_crc_table();
    const QByteArray out = bytes(window.from - range, window.from + range);
    const QByteArray in = bytes(window.to - range, window.to + range);
    quint32 reg = ~crcOf(window.from - range, window.to - range);
    QList<quint32> crcs;
    crcs.reserve(2 * range + 1);
    crcs.append(~reg);
    for (qsizetype i = 0; i < out.size(); ++i) {
        reg = quint32(table[(reg ^ quint8(in.at(i))) & 0xFF]) ^ (reg >> 8) ^ leaving[quint8(out.at(i))];
        if (i % bytesPerSample == bytesPerSample - 1)
            crcs.append(~reg);
    }
    return crcs;
}

} // namespace CTDB
