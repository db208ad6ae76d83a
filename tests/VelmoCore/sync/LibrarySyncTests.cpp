#include "facade/Library.h"
#include "facade/LibraryStores.h"
#include "library/BlockingWait.h"
#include "podcasts/PodcastStore.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(LibrarySyncTest, OneCallSyncsMusicPlaylistsAndEpisodesAndASecondHasNothingToDo)
{
    TestEnvironment::clearSettings();
    TemporaryStores stores;
    QTemporaryDir device;
    const QString root = stores.folder() + u"/Music"_s;
    Track song = makeTrack(u"Song"_s, u"Band"_s, u"Album"_s);
    song.url = QUrl::fromLocalFile(root + u"/Band/Album/Song.flac"_s);
    writeFile(song.path(), "audio");
    writeFile(StoreLocations::path(StoreKind::library), LibraryStores::encodeTracks({song}));
    const Playlist road{QUuid::createUuid(), u"Road"_s, {song.id}, Date{1}, Date{2}};
    writeFile(StoreLocations::path(StoreKind::playlists), LibraryStores::encodePlaylists({road}));
    const Podcast show{.id = QUuid::createUuid(), .title = u"Show"_s, .feedURL = QUrl(u"https://e.org/feed"_s)};
    const QString episodeFile = root + u"/Podcasts/Show/ep1.mp3"_s;
    writeFile(episodeFile, "episode");
    const Episode episode{.id = QUuid::createUuid(), .podcastID = show.id, .title = u"One"_s,
                          .remoteURL = QUrl(u"https://e.org/ep1.mp3"_s), .localURL = QUrl::fromLocalFile(episodeFile),
                          .downloadState = DownloadState::downloaded};
    ASSERT_EQ(PodcastStore::save({show}, {episode}), std::nullopt);

    Library library(QUrl::fromLocalFile(root));
    const DeviceProfile profile = library.createDeviceProfile(u"Stick"_s, device.path());
    QStringList items;
    const SyncEngine::ProgressHandler onProgress = [&items](qint64, qint64, const QString& item) { items.append(item); };
    BlockingWait::wait(library.sync(profile, onProgress));

    EXPECT_EQ(items, QStringList{u"Song"_s});
    EXPECT_EQ(readFile(device.filePath(u"Music/Band/Album/Song.flac"_s)), "audio");
    EXPECT_EQ(readFile(device.filePath(u"Playlists/Road.m3u8"_s)), "#EXTM3U\n#EXTINF:200,Band - Song\n../Music/Band/Album/Song.flac\n");
    EXPECT_EQ(readFile(device.filePath(u"Podcasts/Show/ep1.mp3"_s)), "episode");
    EXPECT_FALSE(SyncEngine::shared().isSyncing());

    items.clear();
    BlockingWait::wait(library.sync(profile, onProgress));
    EXPECT_TRUE(items.isEmpty());
    EXPECT_TRUE(library.syncDiff(profile, library.podcastsToSync(profile)).toAdd.isEmpty());
}
