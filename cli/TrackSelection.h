#pragma once

#include "CommandLine.h"
#include "library/Track.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The tracks a command's query names, shared by the track and playlist commands.
namespace TrackSelection {

// What a command returns when select() gave nothing: the query did not parse.
inline constexpr int usageStatus = exitUsage;

// The library's tracks that match the query, in the songs screen's default order (by title,
// in the collation of the user's language). Nothing, after saying why, for a bad query.
std::optional<QList<Track>> select(Invocation& invocation, const QStringList& words);

// Whether a command may go on with these tracks: something matched, and more than one only
// with --yes. Says why not.
bool confirmed(Invocation& invocation, const QList<Track>& tracks, const QString& verb);

// Sorts stably by the fields named ("artist,year"); the sentence for an unknown field.
std::optional<QString> sort(QList<Track>& tracks, const QString& fields);

// A number as decimal text, or empty for none.
QString numberText(const std::optional<qint64>& number);

// "Artist — Album — 03 Title (4:05) FLAC"
QString line(const Track& track);
// The template with {title}, {artist}, {albumartist}, {album}, {genre}, {year}, {track},
// {disc}, {bpm}, {duration}, {format}, {path} and {id} filled in.
QString format(const Track& track, QString pattern);

} // namespace TrackSelection
