#include "SmartRuleEngine.h"

#include "library/CodePointOrder.h"

#include <QSet>

#include <algorithm>

namespace SmartRuleEngine {

namespace {

QStringList sortedDistinct(const QSet<QString>& values)
{
    QStringList list(values.cbegin(), values.cend());
    CodePointOrder::sort(list);
    return list;
}

void insertIfNotEmpty(QSet<QString>& set, const QString& value)
{
    if (!value.isEmpty())
        set.insert(value);
}

// A handful of values is faster to compare than to hash.
bool contains(const QSet<QString>& set, const QString& value)
{
    if (set.size() > 8)
        return set.contains(value);
    return std::any_of(set.cbegin(), set.cend(), [&value](const QString& member) { return member == value; });
}

bool matches(const SmartPlaylist& smartPlaylist, const Track& track)
{
    // Cheapest test first.
    if (!smartPlaylist.filterDecades.isEmpty()
        && (!track.year || !smartPlaylist.filterDecades.contains(decade(*track.year))))
        return false;
    if (!smartPlaylist.filterGenres.isEmpty() && !contains(smartPlaylist.filterGenres, track.genre))
        return false;
    // Artist and album artist are mostly the same; one lookup then suffices.
    if (!smartPlaylist.filterArtists.isEmpty() && !contains(smartPlaylist.filterArtists, track.artist)
        && (track.albumArtist == track.artist || !contains(smartPlaylist.filterArtists, track.albumArtist)))
        return false;
    return true;
}

} // namespace

QList<Track> resolve(const SmartPlaylist& smartPlaylist, const QList<Track>& tracks)
{
    // Positions first, so that the result is allocated once at its size.
    QList<qsizetype> positions;
    for (qsizetype i = 0; i < tracks.size(); ++i) {
        if (matches(smartPlaylist, tracks.at(i)))
            positions.append(i);
    }
    QList<Track> result;
    result.reserve(positions.size());
    for (qsizetype i : positions)
        result.append(tracks.at(i));
    return result;
}

QStringList availableArtists(const QList<Track>& tracks)
{
    QSet<QString> artists;
    for (const Track& track : tracks) {
        insertIfNotEmpty(artists, track.artist);
        insertIfNotEmpty(artists, track.albumArtist);
    }
    return sortedDistinct(artists);
}

QStringList availableGenres(const QList<Track>& tracks)
{
    QSet<QString> genres;
    for (const Track& track : tracks)
        insertIfNotEmpty(genres, track.genre);
    return sortedDistinct(genres);
}

QList<qint64> availableDecades(const QList<Track>& tracks)
{
    QSet<qint64> decades;
    for (const Track& track : tracks) {
        if (track.year)
            decades.insert(decade(*track.year));
    }
    QList<qint64> list(decades.cbegin(), decades.cend());
    std::sort(list.begin(), list.end());
    return list;
}

} // namespace SmartRuleEngine
