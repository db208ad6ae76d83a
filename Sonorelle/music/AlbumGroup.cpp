#include "AlbumGroup.h"

#include <QHash>

#include <algorithm>

bool AlbumGroup::inTrackOrder(const Track& a, const Track& b)
{
    return std::pair(a.discNumber.value_or(0), a.trackNumber.value_or(0))
         < std::pair(b.discNumber.value_or(0), b.trackNumber.value_or(0));
}

QList<AlbumGroup> AlbumGroup::group(const QList<Track>& tracks, AlbumSortOption sortOption)
{
    // Keyed by the pair itself, so that no separator inside a name can join two albums.
    QHash<std::pair<QString, QString>, qsizetype> indexByKey;
    QList<AlbumGroup> groups;
    for (const Track& track : tracks) {
        const QString& artist = track.albumArtist.isEmpty() ? track.artist : track.albumArtist;
        const auto key = std::pair(artist, track.album);
        auto found = indexByKey.constFind(key);
        if (found == indexByKey.cend()) {
            found = indexByKey.insert(key, groups.size());
            groups.append({artist, track.album, track.year, track.artworkData, {}});
        }
        AlbumGroup& group = groups[*found];
        group.tracks.append(track);
        if (!group.artworkData)
            group.artworkData = track.artworkData;
    }
    for (AlbumGroup& group : groups)
        std::stable_sort(group.tracks.begin(), group.tracks.end(), &AlbumGroup::inTrackOrder);
    // Plain string order, case counting: a lower-case name sorts after every capital.
    if (sortOption == AlbumSortOption::artist) {
        std::sort(groups.begin(), groups.end(), [](const AlbumGroup& a, const AlbumGroup& b) {
            return std::tie(a.artist, a.album) < std::tie(b.artist, b.album);
        });
    } else {
        std::sort(groups.begin(), groups.end(), [](const AlbumGroup& a, const AlbumGroup& b) {
            return std::tie(a.album, a.artist) < std::tie(b.album, b.artist);
        });
    }
    return groups;
}
