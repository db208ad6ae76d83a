#include "AccurateRipID.h"

#include "DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace {

QString hex8(quint32 value)
{
    return u"%1"_s.arg(value, 8, 16, QChar(u'0'));
}

quint32 digitSum(qint64 value)
{
    quint32 sum = 0;
    for (; value > 0; value /= 10)
        sum += quint32(value % 10);
    return sum;
}

} // namespace

QString AccurateRipID::text() const
{
    return u"%1-%2-%3-%4"_s.arg(trackCount, 3, 10, QChar(u'0')).arg(hex8(id1), hex8(id2), hex8(cddb));
}

QString AccurateRipID::path() const
{
    const QString first = hex8(id1);
    return u"%1/%2/%3/dBAR-%4.bin"_s.arg(first.at(7)).arg(first.at(6)).arg(first.at(5)).arg(text());
}

QUrl AccurateRipID::url(const QUrl& service) const
{
    QUrl url = service;
    QString base = url.path();
    if (!base.endsWith(u'/'))
        base += u'/';
    url.setPath(base + path());
    return url;
}

AccurateRipID AccurateRipID::fromFullTOC(const QByteArray& fullTOC)
{
    // Parsing first rejects the bytes that hold no audio, with the usual sentence.
    MusicBrainzDiscLookup::parseDiscTOC(fullTOC);

    const auto [tracks, leadOut] = FullTOC::tracks(fullTOC);

    AccurateRipID id;
    quint32 cddbSum = 0;
    for (const auto& [number, track] : tracks) {
        const qint64 address = track.address();
        cddbSum += digitSum(address / 75);
        if (track.isData())
            continue;
        ++id.trackCount;
        const auto sector = quint32(address - 150);
        id.id1 += sector;
        id.id2 += std::max<quint32>(sector, 1) * quint32(number);
    }
    const auto leadOutSector = quint32(leadOut - 150);
    id.id1 += leadOutSector;
    id.id2 += std::max<quint32>(leadOutSector, 1) * quint32(id.trackCount + 1);
    const qint64 firstSeconds = tracks.begin()->second.address() / 75;
    const auto seconds = quint32(leadOut / 75 - firstSeconds);
    id.cddb = ((cddbSum % 255) << 24) | (seconds << 8) | quint32(tracks.size());
    return id;
}
