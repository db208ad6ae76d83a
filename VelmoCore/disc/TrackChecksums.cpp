#include "TrackChecksums.h"

#include "platform/AudioDecoder.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace {

constexpr std::array<quint32, 256> crcTable = [] {
    std::array<quint32, 256> table{};
    for (quint32 i = 0; i < 256; ++i) {
        quint32 c = i;
        for (int bit = 0; bit < 8; ++bit)
            c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        table[i] = c;
    }
    return table;
}();

quint32 crcByte(quint32 crc, quint8 byte)
{
    return crcTable[(crc ^ byte) & 0xFF] ^ (crc >> 8);
}

constexpr qint64 frame450First = 450 * TrackChecksummer::samplesPerFrame + 1;

} // namespace

TrackChecksummer::TrackChecksummer(qint64 totalSamples, bool firstTrack, bool lastTrack)
    : m_from(firstTrack ? skippedSamples : 1)
    , m_to(lastTrack ? totalSamples - skippedSamples : totalSamples)
{
}

quint32 TrackChecksummer::word(const char* pair)
{
    qint16 left = 0;
    qint16 right = 0;
    std::memcpy(&left, pair, 2);
    std::memcpy(&right, pair + 2, 2);
    return quint32(quint16(left)) | (quint32(quint16(right)) << 16);
}

quint32 TrackChecksummer::frameChecksum(const quint32* words)
{
    quint32 sum = 0;
    for (quint32 i = 0; i < samplesPerFrame; ++i)
        sum += words[i] * (i + 1);
    return sum;
}

void TrackChecksummer::add(const char* samples, qint64 pairs)
{
    for (qint64 i = 0; i < pairs; ++i) {
        const quint32 sample = word(samples + 4 * i);
        const qint64 position = ++m_position;
        if (position >= m_from && position <= m_to) {
            const quint64 product = quint64(sample) * quint64(position);
            m_v1 += quint32(product);
            m_v2High += quint32(product >> 32);
        }
        if (position >= frame450First && position < frame450First + samplesPerFrame)
            m_crc450 += sample * quint32(position - frame450First + 1);
        for (int half = 0; half < 2; ++half) {
            const quint8 low = quint8(sample >> (16 * half));
            const quint8 high = quint8(sample >> (16 * half + 8));
            m_crc32 = crcByte(crcByte(m_crc32, low), high);
            if (low != 0 || high != 0)
                m_crc32WithoutSilence = crcByte(crcByte(m_crc32WithoutSilence, low), high);
        }
    }
}

TrackChecksums TrackChecksummer::result() const
{
    return {.v1 = m_v1,
            .v2 = m_v1 + m_v2High,
            .crc32 = ~m_crc32,
            .crc32WithoutSilence = ~m_crc32WithoutSilence,
            .crc450 = m_crc450};
}

TrackChecksums checksumsOfFile(const QString& path, bool firstTrack, bool lastTrack)
{
    constexpr double wholeFile = 24.0 * 3600.0;
    const AudioDecoder::Samples decoded = AudioDecoder::decode(path, wholeFile, 2);
    if (decoded.sampleRate != 44100 || decoded.channels != 2)
        throw AudioDecoder::DecodeError("not CD audio: 44,100 Hz stereo");
    const qint64 pairs = qint64(decoded.samples.size()) / 2;
    // Sixteen-bit samples come back from the decoder as exact fractions of 32,768.
    std::vector<qint16> pcm(decoded.samples.size());
    std::transform(decoded.samples.begin(), decoded.samples.end(), pcm.begin(), [](float sample) {
        return qint16(std::clamp(std::lrint(double(sample) * 32768.0), -32768L, 32767L));
    });
    TrackChecksummer checksummer(pairs, firstTrack, lastTrack);
    checksummer.add(reinterpret_cast<const char*>(pcm.data()), pairs);
    return checksummer.result();
}
