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

} // namespace

bool matches(const SmartPlaylist& smartPlaylist, const Track& track)
{
    // Cheapest test first: resolving runs over the whole library.
    if (!smartPlaylist.filterDecades.isEmpty()
        && (!track.year || !smartPlaylist.filterDecades.contains(decade(*track.year))))
        return false;
    if (!smartPlaylist.filterGenres.isEmpty() && !smartPlaylist.filterGenres.contains(track.genre))
        return false;
    if (!smartPlaylist.filterArtists.isEmpty() && !smartPlaylist.filterArtists.contains(track.artist)
        && !smartPlaylist.filterArtists.contains(track.albumArtist))
        return false;
    return true;
}

QList<Track> resolve(const SmartPlaylist& smartPlaylist, const QList<Track>& tracks)
{
    QList<Track> result;
    for (const Track& track : tracks) {
        if (matches(smartPlaylist, track))
            result.append(track);
    }
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
