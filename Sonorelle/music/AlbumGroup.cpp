#include "AlbumGroup.h"

#include "LocaleCollation.h"

#include <QCollatorSortKey>
#include <QHash>

#include <algorithm>
#include <tuple>
#include <vector>

namespace {

void sortGroups(QList<AlbumGroup>& groups, AlbumSortOption sortOption)
{
    // Keys are made once per group: a comparison of keys is cheap, one of texts is not.
    const QCollator collator = LocaleCollation::collator();
    struct Keyed {
        QCollatorSortKey first;
        QCollatorSortKey second;
        AlbumGroup group;
    };
    std::vector<Keyed> keyed;
    keyed.reserve(groups.size());
    for (AlbumGroup& group : groups) {
        const QString& first = sortOption == AlbumSortOption::artist ? group.artist : group.album;
        const QString& second = sortOption == AlbumSortOption::artist ? group.album : group.artist;
        keyed.push_back({collator.sortKey(first), collator.sortKey(second), std::move(group)});
    }
    // Names equal to the collator ("duets" and "Duets") fall back to their code points, so
    // that the order never depends on the order of the tracks.
    const auto before = [sortOption](const Keyed& a, const Keyed& b) {
        if (const int c = a.first.compare(b.first); c != 0)
            return c < 0;
        if (const int c = a.second.compare(b.second); c != 0)
            return c < 0;
        if (sortOption == AlbumSortOption::artist)
            return std::tie(a.group.artist, a.group.album) < std::tie(b.group.artist, b.group.album);
        return std::tie(a.group.album, a.group.artist) < std::tie(b.group.album, b.group.artist);
    };
    std::sort(keyed.begin(), keyed.end(), before);
    groups.clear();
    for (Keyed& entry : keyed)
        groups.append(std::move(entry.group));
}

} // namespace

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
    sortGroups(groups, sortOption);
    return groups;
}
