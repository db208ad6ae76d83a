#pragma once

#include "library/RawValueEnum.h"
#include "library/Track.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <optional>

enum class AlbumSortOption { artist, album };

template <>
struct EnumRawValues<AlbumSortOption> {
    static constexpr std::array values{std::pair{AlbumSortOption::artist, "artist"},
                                       std::pair{AlbumSortOption::album, "album"}};
};

// An album as the music screens show it, made afresh from the (filtered) track list on each
// pass and never stored.
struct AlbumGroup {
    QString artist; // albumArtist of the first track, or its artist
    QString album;  // may be empty
    std::optional<qint64> year;
    std::optional<QByteArray> artworkData; // the first track's with artwork
    QList<Track> tracks;                   // in disc and track order

    bool operator==(const AlbumGroup&) const = default;

    // Groups by albumArtist (or artist) and album, exactly as written; sorted as asked, by
    // artist then album or album then artist, in the user's locale (LocaleCollation).
    static QList<AlbumGroup> group(const QList<Track>& tracks, AlbumSortOption sortOption);
    // Disc, then track number; a missing number counts as 0.
    static bool inTrackOrder(const Track& a, const Track& b);
};
