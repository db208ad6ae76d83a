#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>

#include <numeric>
#include <optional>

// A release offered to the user when an album's information is fetched again.
struct ReleaseCandidate {
    QString id;
    QString title;
    QString artist; // the first credited artist
    std::optional<qint64> year;
    std::optional<QString> disambiguation;
    QList<qint64> discTrackCounts; // tracks of each medium, in order of position

    qsizetype discCount() const { return discTrackCounts.size(); }
    qint64 totalTrackCount() const { return std::accumulate(discTrackCounts.cbegin(), discTrackCounts.cend(), qint64(0)); }
    // How a list of releases tells this one apart: "2011 · Experience Edition · 2 discs (10, 9)",
    // the year and comment where present, then the discs, or the tracks of a single disc.
    QString detailText() const;

    bool operator==(const ReleaseCandidate&) const = default;
};

inline size_t qHash(const ReleaseCandidate& candidate, size_t seed = 0) noexcept
{
    return qHashMulti(seed, candidate.id, candidate.title, candidate.artist, candidate.year.value_or(-1),
                      candidate.disambiguation.value_or(QString()), candidate.discTrackCounts);
}
