#include "DisplayText.h"

#include "Track.h"

#include <QLocale>
#include <QSet>

#include <algorithm>
#include <cmath>

namespace DisplayText {

QString formatDuration(double seconds)
{
    // Beyond this no list of tracks lasts; it also keeps the conversion below defined.
    constexpr double limit = 1e15;
    const qint64 whole = std::isfinite(seconds) && seconds > 0 ? qint64(std::min(seconds, limit)) : 0;
    if (whole < 3600)
        return QString::asprintf("%lld:%02lld", whole / 60, whole % 60);
    return QString::asprintf("%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60, whole % 60);
}

QString counted(qsizetype count, const QString& noun)
{
    return QString::number(count) + u' ' + noun + (count == 1 ? QString() : QStringLiteral("s"));
}

QString spanOfTime(std::chrono::milliseconds span)
{
    const auto inUnit = [](qint64 count, const char* unit) {
        return count == 1 ? QStringLiteral("a ") + QLatin1StringView(unit) : counted(count, QLatin1StringView(unit));
    };
    const qint64 ms = span.count();
    if (ms != 0 && ms % 60'000 == 0)
        return inUnit(ms / 60'000, "minute");
    if (ms != 0 && ms % 1000 == 0)
        return inUnit(ms / 1000, "second");
    return QString::number(ms) + QStringLiteral(" ms");
}

QString dataSize(qint64 bytes)
{
    QString text = QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeIecFormat);
    return text.replace(QStringLiteral(".0 "), QStringLiteral(" "));
}

QString formatText(AudioFormat format)
{
    return rawValue(format).toUpper();
}

bool hasSeveralDiscs(const QList<Track>& tracks)
{
    QSet<qint64> discs;
    for (const Track& track : tracks) {
        if (track.discNumber) {
            discs.insert(*track.discNumber);
            if (discs.size() > 1)
                return true;
        }
    }
    return false;
}

QString trackNumberText(const Track& track, bool severalDiscs)
{
    if (!track.trackNumber)
        return QStringLiteral("–");
    if (severalDiscs && track.discNumber)
        return QString::number(*track.discNumber) + u'-' + QString::number(*track.trackNumber);
    return QString::number(*track.trackNumber);
}

} // namespace DisplayText
