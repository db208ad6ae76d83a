#pragma once

#include "CommandLine.h"
#include "library/Track.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"

#include <optional>
#include <variant>

class Library;

using AnyPlaylist = std::variant<Playlist, SmartPlaylist>;

// Finding a playlist or smart playlist by the name or id a user gives, for every playlist
// command.
namespace PlaylistLookup {

QString kindName(const AnyPlaylist& playlist);
QUuid idOf(const AnyPlaylist& playlist);
QString nameOf(const AnyPlaylist& playlist);

// Names need not be unique, so NAME is matched exactly against the names first and, if none
// has it, taken as an id. Two playlists of one name are refused, naming their ids, and so is
// a name that matches nothing; nothing is returned then.
std::optional<AnyPlaylist> findPlaylist(Invocation& invocation, const QString& nameOrID);

QList<Track> tracksOf(const Library& library, const AnyPlaylist& playlist);

} // namespace PlaylistLookup
