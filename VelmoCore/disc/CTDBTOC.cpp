#include "CTDBTOC.h"

#include "DiscTOC.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <QCryptographicHash>

#include <algorithm>
#include <map>

using namespace Qt::StringLiterals;

namespace {

// The Enhanced CD's gap between the audio session and the data track: lead-out, lead-in and
// the data track's pregap, 152 seconds.
constexpr qint64 sessionGap = 11400;

} // namespace

CTDBTOC CTDBTOC::fromFullTOC(const QByteArray& fullTOC)
{
    // Parsing first rejects the bytes that hold no audio, with the usual sentence.
    MusicBrainzDiscLookup::parseDiscTOC(fullTOC);
    const auto [tracks, leadOut] = FullTOC::tracks(fullTOC);
    CTDBTOC toc;
    for (const auto& [number, track] : tracks) {
        toc.starts.append(track.address() - 150);
        toc.data.append(track.isData());
    }
    toc.leadOut = leadOut - 150;
    return toc;
}

std::optional<CTDBTOC> CTDBTOC::fromText(const QString& text)
{
    const QStringList items = text.split(u':');
    if (items.size() < 2)
        return std::nullopt;
    CTDBTOC toc;
    qint64 previous = -1;
    for (qsizetype i = 0; i < items.size(); ++i) {
        QString item = items.at(i);
        const bool data = item.startsWith(u'-');
        if (data)
            item.remove(0, 1);
        const bool digits =
            !item.isEmpty() && std::all_of(item.cbegin(), item.cend(), [](QChar c) { return c >= u'0' && c <= u'9'; });
        bool ok = false;
        const qint64 value = item.toLongLong(&ok);
        if (!digits || !ok || value <= previous || (data && i + 1 == items.size()))
            return std::nullopt;
        previous = value;
        if (i + 1 == items.size()) {
            toc.leadOut = value;
        } else {
            toc.starts.append(value);
            toc.data.append(data);
        }
    }
    if (toc.audioTrackCount() == 0 || toc.audioSectors() <= 0)
        return std::nullopt;
    return toc;
}

QString CTDBTOC::text() const
{
    QStringList items;
    for (qsizetype i = 0; i < starts.size(); ++i)
        items.append((data.at(i) ? u"-"_s : QString()) + QString::number(starts.at(i)));
    items.append(QString::number(leadOut));
    return items.join(u':');
}

QString CTDBTOC::tocID() const
{
    const QList<qint64> boundaries = audioBoundaries();
    QByteArray text;
    for (qsizetype i = 1; i < boundaries.size(); ++i)
        text += QByteArray::number(boundaries.at(i), 16).toUpper().rightJustified(8, '0');
    text = text.leftJustified(100 * 8, '0');
    QByteArray id = QCryptographicHash::hash(text, QCryptographicHash::Sha1).toBase64();
    id.replace('+', '.').replace('/', '_').replace('=', '-');
    return QString::fromLatin1(id);
}

qint64 CTDBTOC::audioTrackCount() const
{
    return std::count(data.cbegin(), data.cend(), false);
}

qint64 CTDBTOC::firstAudio() const
{
    return std::find(data.cbegin(), data.cend(), false) - data.cbegin();
}

qint64 CTDBTOC::lastAudio() const
{
    const auto found = std::find(data.crbegin(), data.crend(), false);
    return data.size() - 1 - (found - data.crbegin());
}

qint64 CTDBTOC::pregap() const
{
    return firstAudio() == 0 ? starts.constFirst() : 0;
}

qint64 CTDBTOC::audioSectors() const
{
    const QList<qint64> boundaries = audioBoundaries();
    return boundaries.isEmpty() ? 0 : boundaries.constLast();
}

QList<qint64> CTDBTOC::audioBoundaries() const
{
    if (audioTrackCount() == 0)
        return {};
    const qint64 first = firstAudio();
    const qint64 last = lastAudio();
    QList<qint64> boundaries;
    for (qint64 i = first; i <= last; ++i) {
        if (!data.at(i))
            boundaries.append(starts.at(i) - starts.at(first));
    }
    const qint64 end = last + 1 < starts.size() ? starts.at(last + 1) - sessionGap : leadOut;
    boundaries.append(end - starts.at(first));
    return boundaries;
}
