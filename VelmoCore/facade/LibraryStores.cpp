#include "LibraryStores.h"

#include "library/JsonCoding.h"
#include "library/UniqueIDs.h"

using namespace Qt::StringLiterals;

namespace LibraryStores {

namespace {

template <typename T>
QList<T> decodeArrayDocument(const JsonDocument& document)
{
    const auto array = document.root().toArray();
    if (!array)
        throw DecodingError(u"expected an array at the top level"_s);
    return Json::decodeArray(*array, &T::fromJson);
}

template <typename T>
StoreRead<QList<T>> readArrayStore(StoreKind kind)
{
    StoreRead<QList<T>> read = StoreFile::read(StoreLocations::path(kind), &decodeArrayDocument<T>);
    read.repeatedIDs = UniqueIDs::keepFirstOfEach(read.value);
    return read;
}

template <typename T>
QByteArray encodeArrayDocument(const QList<T>& list)
{
    JsonWriter writer;
    // Records of the stores run to a few hundred bytes each.
    writer.reserve(list.size() * 512);
    Json::writeArray(writer, list);
    return writer.take();
}

template <typename T>
Inspection inspection(StoreKind kind, const StoreRead<T>& read, qsizetype records)
{
    return {kind, StoreLocations::path(kind), read.state, read.problem, records, read.repeatedIDs};
}

} // namespace

StoreRead<QList<Track>> readTracks() { return readArrayStore<Track>(StoreKind::library); }
StoreRead<QList<Playlist>> readPlaylists() { return readArrayStore<Playlist>(StoreKind::playlists); }
StoreRead<QList<SmartPlaylist>> readSmartPlaylists() { return readArrayStore<SmartPlaylist>(StoreKind::smartPlaylists); }
StoreRead<QList<DeviceProfile>> readDeviceProfiles() { return readArrayStore<DeviceProfile>(StoreKind::deviceProfiles); }

StoreRead<PodcastStore::Contents> readPodcasts()
{
    StoreRead<PodcastStore::Contents> read = PodcastStore::load();
    read.repeatedIDs = UniqueIDs::keepFirstOfEach(read.value.podcasts) + UniqueIDs::keepFirstOfEach(read.value.episodes);
    return read;
}

QByteArray encodeTracks(const QList<Track>& tracks) { return encodeArrayDocument(tracks); }
QByteArray encodePlaylists(const QList<Playlist>& playlists) { return encodeArrayDocument(playlists); }
QByteArray encodeSmartPlaylists(const QList<SmartPlaylist>& smartPlaylists) { return encodeArrayDocument(smartPlaylists); }
QByteArray encodeDeviceProfiles(const QList<DeviceProfile>& profiles) { return encodeArrayDocument(profiles); }

QList<Inspection> inspectAll()
{
    const auto tracks = readTracks();
    const auto playlists = readPlaylists();
    const auto smartPlaylists = readSmartPlaylists();
    const auto profiles = readDeviceProfiles();
    const auto podcasts = readPodcasts();
    return {
        inspection(StoreKind::library, tracks, tracks.value.size()),
        inspection(StoreKind::playlists, playlists, playlists.value.size()),
        inspection(StoreKind::smartPlaylists, smartPlaylists, smartPlaylists.value.size()),
        inspection(StoreKind::deviceProfiles, profiles, profiles.value.size()),
        inspection(StoreKind::podcasts, podcasts, podcasts.value.podcasts.size() + podcasts.value.episodes.size()),
    };
}

} // namespace LibraryStores
