#pragma once

#include "SmartPlaylist.h"
#include "library/Track.h"

#include <QList>
#include <QStringList>

// Evaluates smart playlists against the tracks at each use, and lists what the editor
// offers. Values within one filter are alternatives; the filters join by "and"; an empty
// filter is no restriction. All string tests are exact: case, accents and blanks count.
namespace SmartRuleEngine {

// The matching tracks, in the order given.
QList<Track> resolve(const SmartPlaylist& smartPlaylist, const QList<Track>& tracks);

// The first year of the decade, truncating towards zero: 1999 gives 1990, -5 gives 0.
constexpr qint64 decade(qint64 year) { return (year / 10) * 10; }

// Every non-empty artist and album artist, each once, ascending by code points.
QStringList availableArtists(const QList<Track>& tracks);
// Every non-empty genre, each once, ascending by code points.
QStringList availableGenres(const QList<Track>& tracks);
// The decade of every track with a year, each once, ascending.
QList<qint64> availableDecades(const QList<Track>& tracks);

} // namespace SmartRuleEngine
