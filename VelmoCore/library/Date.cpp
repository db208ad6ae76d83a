#include "Date.h"

#include <chrono>
#include <cmath>

Date Date::now()
{
    using namespace std::chrono;
    const auto sinceEpoch = duration_cast<microseconds>(system_clock::now().time_since_epoch());
    return {double(sinceEpoch.count()) / 1e6 - double(referenceDateUnixSeconds)};
}

Date Date::fromDateTime(const QDateTime& dateTime)
{
    return {double(dateTime.toMSecsSinceEpoch()) / 1000.0 - double(referenceDateUnixSeconds)};
}

QDateTime Date::toDateTime() const
{
    const double unixMs = (secondsSinceReferenceDate + double(referenceDateUnixSeconds)) * 1000.0;
    return QDateTime::fromMSecsSinceEpoch(qint64(std::llround(unixMs)), Qt::UTC);
}
