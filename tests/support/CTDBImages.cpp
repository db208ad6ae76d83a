#include "CTDBImages.h"

#include <QXmlStreamWriter>

#include <cstdlib>
#include <limits>

using namespace Qt::StringLiterals;

namespace CTDBImages {

namespace {

constexpr int modulus = std::numeric_limits<int>::max();
constexpr int seedBase = 161803398;

} // namespace

SeededRandom::SeededRandom(int seed)
{
    const int subtraction = seed == std::numeric_limits<int>::min() ? modulus : std::abs(seed);
    int mj = seedBase - subtraction;
    m_state[55] = mj;
    int mk = 1;
    for (int i = 1; i < 55; ++i) {
        const int ii = (21 * i) % 55;
        m_state[ii] = mk;
        mk = mj - mk;
        if (mk < 0)
            mk += modulus;
        mj = m_state[ii];
    }
    for (int pass = 0; pass < 4; ++pass) {
        for (int i = 1; i < 56; ++i) {
            m_state[i] -= m_state[1 + (i + 30) % 55];
            if (m_state[i] < 0)
                m_state[i] += modulus;
        }
    }
}

int SeededRandom::next()
{
    if (++m_next >= 56)
        m_next = 1;
    if (++m_nextPrime >= 56)
        m_nextPrime = 1;
    int value = m_state[m_next] - m_state[m_nextPrime];
    if (value == modulus)
        --value;
    if (value < 0)
        value += modulus;
    m_state[m_next] = value;
    return value;
}

CTDBTOC audioDisc(const QList<qint64>& starts, qint64 leadOut)
{
    return {.starts = starts, .data = QList<bool>(starts.size(), false), .leadOut = leadOut};
}

QByteArray seededAudio(qint64 sectors, int seed, qint64 offsetSamples)
{
    SeededRandom random(seed);
    for (qint64 i = 0; i < offsetSamples * 4; ++i)
        random.next();
    QByteArray audio(sectors * 2352, Qt::Uninitialized);
    for (char& byte : audio)
        byte = char(random.next() & 0xFF);
    return audio;
}

QList<std::optional<CTDB::TrackSamples>> tracksOf(const CTDBTOC& toc, const QByteArray& stream)
{
    const qint64 origin = toc.pregap() * 588;
    const QList<qint64> boundaries = toc.audioBoundaries();
    QList<std::optional<CTDB::TrackSamples>> tracks;
    for (qsizetype i = 0; i + 1 < boundaries.size(); ++i) {
        const qint64 from = origin + boundaries.at(i) * 588;
        const qint64 length = (boundaries.at(i + 1) - boundaries.at(i)) * 588;
        CTDB::TrackSummer summer(length);
        // In pieces of a sector, as a rip feeds it.
        for (qint64 at = 0; at < length; at += 588)
            summer.add(stream.constData() + (from + at) * 4, std::min<qint64>(588, length - at));
        tracks.append(summer.result());
    }
    return tracks;
}

quint32 streamCRC(const QByteArray& stream, qint64 from, qint64 to)
{
    QByteArray window((to - from) * 4, '\0');
    const qint64 samples = stream.size() / 4;
    for (qint64 n = std::max<qint64>(from, 0); n < std::min(to, samples); ++n)
        std::copy_n(stream.constData() + n * 4, 4, window.data() + (n - from) * 4);
    return CTDB::crc32(0, window.constData(), window.size());
}

QByteArray answer(const QList<CTDB::Entry>& entries)
{
    QByteArray xml;
    QXmlStreamWriter writer(&xml);
    writer.writeStartDocument();
    writer.writeDefaultNamespace(u"http://db.cuetools.net/ns/mmd-1.0#"_s);
    writer.writeStartElement(u"http://db.cuetools.net/ns/mmd-1.0#"_s, u"ctdb"_s);
    for (const CTDB::Entry& entry : entries) {
        writer.writeStartElement(u"http://db.cuetools.net/ns/mmd-1.0#"_s, u"entry"_s);
        writer.writeAttribute(u"id"_s, QString::number(entry.id));
        writer.writeAttribute(u"crc32"_s, u"%1"_s.arg(entry.crc32, 8, 16, QChar(u'0')));
        writer.writeAttribute(u"confidence"_s, QString::number(entry.confidence));
        writer.writeAttribute(u"npar"_s, QString::number(entry.npar));
        writer.writeAttribute(u"stride"_s, QString::number(entry.stride));
        writer.writeAttribute(u"toc"_s, entry.toc);
        if (!entry.trackCRCs.isEmpty()) {
            QStringList crcs;
            for (quint32 crc : entry.trackCRCs)
                crcs.append(u"%1"_s.arg(crc, 8, 16, QChar(u'0')));
            writer.writeAttribute(u"trackcrcs"_s, crcs.join(u' '));
        }
        writer.writeEndElement();
    }
    writer.writeEndElement();
    writer.writeEndDocument();
    return xml;
}

} // namespace CTDBImages
