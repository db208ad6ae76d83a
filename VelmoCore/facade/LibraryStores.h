#pragma once

#include "library/StoreFile.h"
#include "library/StoreLocations.h"
#include "library/Track.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"
#include "podcasts/PodcastStore.h"
#include "sync/DeviceProfile.h"

#include <QList>

// How each of the five stores is read and written: the one place that pairs a file with
// its record type.
namespace LibraryStores {

StoreRead<QList<Track>> readTracks();
StoreRead<QList<Playlist>> readPlaylists();
StoreRead<QList<SmartPlaylist>> readSmartPlaylists();
StoreRead<QList<DeviceProfile>> readDeviceProfiles();
StoreRead<PodcastStore::Contents> readPodcasts();

QByteArray encodeTracks(const QList<Track>& tracks);
QByteArray encodePlaylists(const QList<Playlist>& playlists);
QByteArray encodeSmartPlaylists(const QList<SmartPlaylist>& smartPlaylists);
QByteArray encodeDeviceProfiles(const QList<DeviceProfile>& profiles);

struct Inspection {
    StoreKind kind;
    QString path;
    StoreState state;
    QString problem;
    qsizetype records = 0; // podcasts and episodes together for podcasts.json
    QStringList repeatedIDs; // held by more than one record; `records` counts the first of each
};

// Reads every store as the library would, without keeping anything. Each read keeps the first
// record of an id that is repeated and names the id.
QList<Inspection> inspectAll();

} // namespace LibraryStores
