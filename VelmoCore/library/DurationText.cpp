#include "DurationText.h"

#include <algorithm>
#include <cmath>

QString formatDuration(double seconds)
{
    // Beyond this no list of tracks lasts; it also keeps the conversion below defined.
    constexpr double limit = 1e15;
    const qint64 whole = std::isfinite(seconds) && seconds > 0 ? qint64(std::min(seconds, limit)) : 0;
    const qint64 hours = whole / 3600;
    const qint64 minutes = whole % 3600 / 60;
    const qint64 rest = whole % 60;
    if (hours > 0)
        return QString::asprintf("%lld:%02lld:%02lld", hours, minutes, rest);
    return QString::asprintf("%lld:%02lld", minutes, rest);
}
