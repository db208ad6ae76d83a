#pragma once

#include <QDateTime>

#include <compare>

// An instant as the stores keep it: seconds since 2001-01-01T00:00:00Z. Holding the double
// itself, rather than a QDateTime, keeps values from an existing library.json exact
// through a load and a save.
struct Date {
    double secondsSinceReferenceDate = 0;

    static constexpr qint64 referenceDateUnixSeconds = 978307200;

    static Date now();
    static Date fromDateTime(const QDateTime& dateTime);
    QDateTime toDateTime() const;

    Date addingSeconds(double seconds) const { return {secondsSinceReferenceDate + seconds}; }

    auto operator<=>(const Date&) const = default;
};
