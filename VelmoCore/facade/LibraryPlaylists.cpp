// The playlist and smart playlist operations of Library.
#include "Library.h"

#include "playlists/PlaylistExporter.h"
#include "playlists/SmartRuleEngine.h"
#include "playlists/TrackLookup.h"

#include <algorithm>

namespace {

template <typename T>
T* findByID(QList<T>& list, const QUuid& id)
{
    const auto it = std::find_if(list.begin(), list.end(), [&id](const T& item) { return item.id == id; });
    return it == list.end() ? nullptr : &*it;
}

template <typename T>
const T* findByID(const QList<T>& list, const QUuid& id)
{
    const auto it = std::find_if(list.cbegin(), list.cend(), [&id](const T& item) { return item.id == id; });
    return it == list.cend() ? nullptr : &*it;
}

// A playlist or smart playlist made now, with nothing in it yet.
template <typename T>
T fresh(const QString& name)
{
    const Date now = Date::now();
    return {.id = QUuid::createUuid(), .name = name, .dateCreated = now, .dateModified = now};
}

// Replaces the first entry of the value's id, stamped with the present moment. False when
// there is none.
template <typename T>
bool replaceByID(QList<T>& list, const T& value)
{
    T* stored = findByID(list, value.id);
    if (!stored)
        return false;
    *stored = value;
    stored->dateModified = Date::now();
    return true;
}

template <typename T>
void removeByID(QList<T>& list, const QUuid& id)
{
    list.removeIf([&id](const T& item) { return item.id == id; });
}

} // namespace

Playlist Library::createPlaylist(const QString& name)
{
    assertMainThread();
    const auto playlist = fresh<Playlist>(name);
    m_playlists.append(playlist);
    playlistsDidChange();
    return playlist;
}

void Library::deletePlaylist(const QUuid& id)
{
    assertMainThread();
    removeByID(m_playlists, id);
    playlistsDidChange();
}

void Library::updatePlaylist(const Playlist& playlist)
{
    assertMainThread();
    if (replaceByID(m_playlists, playlist))
        playlistsDidChange();
}

void Library::addTrack(const QUuid& trackID, const QUuid& to)
{
    assertMainThread();
    Playlist* playlist = findByID(m_playlists, to);
    if (!playlist || playlist->trackIDs.contains(trackID))
        return;
    playlist->trackIDs.append(trackID);
    playlist->dateModified = Date::now();
    playlistsDidChange();
}

void Library::removeTrack(qsizetype at, const QUuid& from)
{
    assertMainThread();
    Playlist* playlist = findByID(m_playlists, from);
    if (!playlist || at < 0 || at >= playlist->trackIDs.size())
        return;
    playlist->trackIDs.removeAt(at);
    playlist->dateModified = Date::now();
    playlistsDidChange();
}

void Library::moveTrack(const QUuid& in, const QSet<qsizetype>& from, qsizetype to)
{
    assertMainThread();
    Playlist* playlist = findByID(m_playlists, in);
    if (!playlist)
        return;
    QList<QUuid>& ids = playlist->trackIDs;

    QList<qsizetype> positions;
    for (qsizetype position : from) {
        if (position >= 0 && position < ids.size())
            positions.append(position);
    }
    std::sort(positions.begin(), positions.end());

    QList<QUuid> block;
    block.reserve(positions.size());
    for (qsizetype position : positions)
        block.append(ids.at(position));
    for (auto it = positions.crbegin(); it != positions.crend(); ++it)
        ids.removeAt(*it);
    const qsizetype destination = std::clamp<qsizetype>(to, 0, ids.size());
    ids.insert(destination, block.size(), QUuid());
    std::copy(block.cbegin(), block.cend(), ids.begin() + destination);

    playlist->dateModified = Date::now();
    playlistsDidChange();
}

void Library::prunePlaylistReferences()
{
    assertMainThread();
    QSet<QUuid> known;
    known.reserve(m_tracks.size());
    for (const Track& track : m_tracks)
        known.insert(track.id);

    bool changed = false;
    const Date now = Date::now();
    for (Playlist& playlist : m_playlists) {
        if (playlist.trackIDs.removeIf([&known](const QUuid& id) { return !known.contains(id); }) > 0) {
            playlist.dateModified = now;
            changed = true;
        }
    }
    if (changed)
        playlistsDidChange();
}

QList<Track> Library::resolve(const Playlist& playlist) const
{
    assertMainThread();
    return TrackLookup(m_tracks).resolve(playlist.trackIDs);
}

void Library::exportPlaylist(const QUuid& id, const QUrl& to, bool relativePaths) const
{
    assertMainThread();
    if (const Playlist* playlist = findByID(m_playlists, id))
        PlaylistExporter::write(*playlist, m_tracks, to, relativePaths);
}

void Library::addSmartPlaylist(const SmartPlaylist& smartPlaylist)
{
    assertMainThread();
    m_smartPlaylists.append(smartPlaylist);
    smartPlaylistsDidChange();
}

SmartPlaylist Library::createSmartPlaylist(const QString& name)
{
    assertMainThread();
    const auto smartPlaylist = fresh<SmartPlaylist>(name);
    m_smartPlaylists.append(smartPlaylist);
    smartPlaylistsDidChange();
    return smartPlaylist;
}

void Library::deleteSmartPlaylist(const QUuid& id)
{
    assertMainThread();
    removeByID(m_smartPlaylists, id);
    smartPlaylistsDidChange();
}

void Library::updateSmartPlaylist(const SmartPlaylist& smartPlaylist)
{
    assertMainThread();
    if (replaceByID(m_smartPlaylists, smartPlaylist))
        smartPlaylistsDidChange();
}

QList<Track> Library::resolve(const SmartPlaylist& smartPlaylist) const
{
    assertMainThread();
    return SmartRuleEngine::resolve(smartPlaylist, m_tracks);
}

void Library::exportSmartPlaylist(const QUuid& id, const QUrl& to, bool relativePaths) const
{
    assertMainThread();
    const SmartPlaylist* smartPlaylist = findByID(m_smartPlaylists, id);
    if (!smartPlaylist)
        return;
    Playlist playlist{
        .id = smartPlaylist->id,
        .name = smartPlaylist->name,
        .dateCreated = smartPlaylist->dateCreated,
        .dateModified = smartPlaylist->dateModified,
    };
    for (const Track& track : SmartRuleEngine::resolve(*smartPlaylist, m_tracks))
        playlist.trackIDs.append(track.id);
    PlaylistExporter::write(playlist, m_tracks, to, relativePaths);
}
