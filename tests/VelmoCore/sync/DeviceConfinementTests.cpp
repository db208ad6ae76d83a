#include "library/BlockingWait.h"
#include "support/AsyncTesting.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "sync/DeviceFiles.h"
#include "sync/PodcastSyncer.h"
#include "sync/SyncDiff.h"
#include "sync/SyncEngine.h"
#include "sync/VelmoDeviceFile.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Every file below a folder with its bytes, hidden ones included, links not followed: what
// must come out of a sync byte for byte as it went in.
QMap<QString, QByteArray> snapshot(const QString& folder)
{
    QMap<QString, QByteArray> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QString path = it.next();
        files.insert(path.mid(folder.size() + 1), readFile(path));
    }
    return files;
}

// A device folder, a library, and a folder outside the device holding the user's own files,
// which links on the device point at.
class DeviceConfinementTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        profile.id = QUuid::createUuid();
        profile.name = u"Stick"_s;
        profile.rootPath = device.path();
        writeFile(outside.filePath(u"letter.txt"_s), "Dear friend");
        writeFile(outside.filePath(u"song.mp3"_s), "the user's own recording");
        writeFile(outside.filePath(u"photo.jpg"_s), "a photo");
        canaries = snapshot(outside.path());
    }

    Track libraryTrack(const QString& title)
    {
        Track track = makeTrack(title, u"Artist"_s, u"Album"_s);
        track.trackNumber = ++m_number;
        track.url = QUrl::fromLocalFile(library.filePath(title + u".flac"_s));
        writeFile(track.path(), title.toUtf8());
        return track;
    }

    void plantLink(const QString& relative, const QString& target)
    {
        QDir().mkpath(QFileInfo(device.filePath(relative)).absolutePath());
        ASSERT_TRUE(QFile::link(target, device.filePath(relative))) << relative.toStdString();
    }

    SyncDiff diff(const QList<Track>& tracks, const QList<SyncDiff::PodcastEpisodes>& podcasts = {}) const
    {
        return SyncDiff::compute(tracks, {}, {}, profile, QUrl::fromLocalFile(library.path()), podcasts);
    }

    // The run's error message, or empty when it went through.
    QString sync(const SyncDiff& plan, const QList<Track>& tracks, const QList<Playlist>& playlists = {})
    {
        SyncEngine engine;
        try {
            BlockingWait::wait(engine.sync(plan, profile, playlists, {}, tracks, QUrl::fromLocalFile(library.path()), {}));
        } catch (const SyncEngine::SyncError& error) {
            return error.message();
        }
        return {};
    }

    QTemporaryDir library;
    QTemporaryDir device;
    QTemporaryDir outside;
    DeviceProfile profile;
    QMap<QString, QByteArray> canaries;

private:
    qint64 m_number = 0;
};

} // namespace

TEST_F(DeviceConfinementTest, APodcastsFolderThatIsALinkIsNeitherWalkedNorEmptied)
{
    plantLink(u"Podcasts"_s, outside.path());
    profile.syncPodcasts = true;
    const SyncDiff plan = diff({});
    ASSERT_TRUE(plan.podcastChanges);
    EXPECT_TRUE(plan.podcastChanges->toRemove.isEmpty());
    EXPECT_EQ(plan.passedOver, QList<QUrl>{QUrl::fromLocalFile(device.filePath(u"Podcasts"_s))});

    Podcast show;
    show.id = QUuid::createUuid();
    show.title = u"Show"_s;
    try {
        PodcastSyncer::sync({{show, {}}}, QUrl::fromLocalFile(device.path()), u"Podcasts"_s);
        ADD_FAILURE() << "a podcasts folder through a link is refused";
    } catch (const PodcastSyncer::SyncError& error) {
        EXPECT_TRUE(error.message().contains(u"is a symbolic link, which a sync never follows"_s))
            << qPrintable(error.message());
    }
    EXPECT_EQ(snapshot(outside.path()), canaries);
    EXPECT_TRUE(QFileInfo(device.filePath(u"Podcasts"_s)).isSymLink());
}

TEST_F(DeviceConfinementTest, APodcastFolderInsideThatIsALinkKeepsItsTargetWhole)
{
    plantLink(u"Podcasts/Show"_s, outside.path());
    writeFile(device.filePath(u"Podcasts/Old/episode.mp3"_s), "gone");
    writeFile(device.filePath(u"Podcasts/Old/notes.txt"_s), "the user's notes");
    PodcastSyncer::sync({}, QUrl::fromLocalFile(device.path()), u"Podcasts"_s);

    EXPECT_EQ(snapshot(outside.path()), canaries);
    EXPECT_TRUE(QFileInfo(device.filePath(u"Podcasts/Show"_s)).isSymLink());
    EXPECT_FALSE(QFileInfo::exists(device.filePath(u"Podcasts/Old/episode.mp3"_s)));
    EXPECT_EQ(readFile(device.filePath(u"Podcasts/Old/notes.txt"_s)), "the user's notes");
}

TEST_F(DeviceConfinementTest, AMusicFolderThatIsALinkGetsNoTrackWrittenThroughIt)
{
    plantLink(u"Music"_s, outside.path());
    const Track song = libraryTrack(u"Song"_s);
    profile.syncPlaylists = false;
    const SyncDiff plan = diff({song});
    EXPECT_EQ(plan.passedOver, QList<QUrl>{QUrl::fromLocalFile(device.filePath(u"Music"_s))});
    ASSERT_EQ(plan.toAdd.size(), 1);

    const QString failure = sync(plan, {song});
    EXPECT_TRUE(failure.contains(u"“%1” is a symbolic link, which a sync never follows"_s.arg(device.filePath(u"Music"_s))))
        << qPrintable(failure);
    EXPECT_EQ(snapshot(outside.path()), canaries);
    EXPECT_TRUE(QDir(outside.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty()) << "no folder made there";
}

TEST_F(DeviceConfinementTest, AFileOnTheWayThatIsALinkIsNeitherWrittenNorRemoved)
{
    const Track song = libraryTrack(u"Song"_s);
    // The track's own place is a link to the user's file, and an old file the diff listed
    // has become a link since.
    plantLink(u"Music/Artist/Album/01 Song.flac"_s, outside.filePath(u"song.mp3"_s));
    plantLink(u"Music/old.mp3"_s, outside.filePath(u"song.mp3"_s));
    profile.syncPlaylists = false;
    const SyncDiff plan = diff({song});
    EXPECT_TRUE(plan.toAdd.isEmpty()) << "a link in the track's place is passed over";
    EXPECT_TRUE(plan.passedOver.contains(QUrl::fromLocalFile(device.filePath(u"Music/Artist/Album/01 Song.flac"_s))));

    SyncDiff forced;
    forced.toRemove = {QUrl::fromLocalFile(device.filePath(u"Music/old.mp3"_s))};
    forced.toAdd = {{song, QUrl::fromLocalFile(device.filePath(u"Music/Artist/Album/01 Song.flac"_s)), {}}};
    const QString failure = sync(forced, {song});
    EXPECT_TRUE(failure.contains(u"is a symbolic link"_s)) << qPrintable(failure);
    EXPECT_TRUE(QFileInfo(device.filePath(u"Music/old.mp3"_s)).isSymLink()) << "a link is not deleted";
    EXPECT_EQ(snapshot(outside.path()), canaries);
}

TEST_F(DeviceConfinementTest, TheIdentityFileAndPlaylistFilesAreNeverWrittenThroughALink)
{
    plantLink(u".velmo"_s, outside.filePath(u"letter.txt"_s));
    plantLink(u"Playlists/Mix.m3u8"_s, outside.filePath(u"photo.jpg"_s));
    const Track song = libraryTrack(u"Song"_s);
    const Playlist mix{QUuid::createUuid(), u"Mix"_s, {song.id}, {}, {}};
    const Playlist other{QUuid::createUuid(), u"Other"_s, {song.id}, {}, {}};
    EXPECT_EQ(sync(diff({song}), {song}, {mix, other}), QString());

    EXPECT_EQ(snapshot(outside.path()), canaries);
    EXPECT_TRUE(QFileInfo(device.filePath(u".velmo"_s)).isSymLink());
    EXPECT_TRUE(QFileInfo(device.filePath(u"Playlists/Mix.m3u8"_s)).isSymLink());
    EXPECT_EQ(readFile(device.filePath(u"Playlists/Other.m3u8"_s)),
              "#EXTM3U\n#EXTINF:200,Artist - Song\n../Music/Artist/Album/01 Song.flac\n");
    EXPECT_EQ(readFile(device.filePath(u"Music/Artist/Album/01 Song.flac"_s)), "Song");

    // A playlists folder that is a link gets nothing.
    QFile::remove(device.filePath(u"Playlists/Mix.m3u8"_s));
    QFile::remove(device.filePath(u"Playlists/Other.m3u8"_s));
    QDir().rmdir(device.filePath(u"Playlists"_s));
    plantLink(u"Playlists"_s, outside.path());
    EXPECT_EQ(sync(diff({song}), {song}, {mix}), QString());
    EXPECT_EQ(snapshot(outside.path()), canaries);
}

TEST_F(DeviceConfinementTest, AProfileThatNeedsRepairIsRefusedBeforeAnythingHappens)
{
    writeFile(device.filePath(u"Documents/thesis.mp3"_s), "years of work");
    const QMap<QString, QByteArray> before = snapshot(device.path());
    const Track song = libraryTrack(u"Song"_s);
    SyncDiff plan;
    plan.toRemove = {QUrl::fromLocalFile(device.filePath(u"Documents/thesis.mp3"_s))};
    plan.toAdd = {{song, QUrl::fromLocalFile(device.filePath(u"Music/Song.flac"_s)), {}}};

    profile.podcastsFolder = QString();
    EXPECT_EQ(sync(plan, {song}),
              u"The device profile needs repair before it can be synced: podcastsFolder must name a folder inside the "
              "device, such as “Music” or “Audio/Music”, not “”: no empty name, no “..” and no leading “/”."_s);
    profile.podcastsFolder = u"Podcasts"_s;
    profile.transcodeBitrate = 9300000000000000;
    EXPECT_TRUE(sync(plan, {song}).contains(u"not 9300000000000000"_s));
    EXPECT_EQ(snapshot(device.path()), before);
    EXPECT_FALSE(QFileInfo::exists(device.filePath(u".velmo"_s)));

    try {
        PodcastSyncer::sync({}, QUrl::fromLocalFile(device.path()), u"../"_s + QFileInfo(outside.path()).fileName());
        ADD_FAILURE() << "a podcasts folder outside the device is refused";
    } catch (const PodcastSyncer::SyncError& error) {
        EXPECT_EQ(error.kind(), PodcastSyncer::SyncError::Kind::folderFailed);
    }
    EXPECT_EQ(snapshot(outside.path()), canaries);
}

TEST_F(DeviceConfinementTest, AProfileThatNeedsRepairGivesAnEmptyDiff)
{
    const Track song = libraryTrack(u"Song"_s);
    writeFile(device.filePath(u"Documents/thesis.mp3"_s), "years of work");
    profile.syncPodcasts = true;
    profile.podcastsFolder = QString();
    EXPECT_EQ(diff({song}), SyncDiff());
    profile.podcastsFolder = u"Podcasts"_s;
    profile.musicFolder = u"../"_s + QFileInfo(outside.path()).fileName();
    EXPECT_EQ(diff({song}), SyncDiff());
    profile.musicFolder = u"Music"_s;
    EXPECT_EQ(diff({song}).toRemove, QList<QUrl>{QUrl::fromLocalFile(device.filePath(u"Documents/thesis.mp3"_s))})
        << "repaired, the device is owned as described";
}

TEST_F(DeviceConfinementTest, ControlCharactersFromTagsNeverReachANameOnTheDevice)
{
    Track track = libraryTrack(u"Song"_s);
    track.title = u"Bell\aand\nNewline\x1b[31m"_s;
    track.artist = u"Art\tist"_s;
    track.albumArtist.clear();
    track.album = u"Al\rbum"_s;
    track.trackNumber = 2;
    EXPECT_EQ(SyncDiff::destinationURL(track, profile, QUrl::fromLocalFile(library.path())).toLocalFile(),
              device.filePath(u"Music/Artist/Album/02 BellandNewline[31m.flac"_s));
}

TEST_F(DeviceConfinementTest, TracksThatShareAPlaceAreAllCopiedAndThePlaylistPointsAtEach)
{
    Track discOne = libraryTrack(u"Intro"_s);
    discOne.trackNumber = 1;
    discOne.discNumber = 1;
    Track discTwo = makeTrack(u"Intro"_s, u"Artist"_s, u"Album"_s);
    discTwo.trackNumber = 1;
    discTwo.discNumber = 2;
    discTwo.url = QUrl::fromLocalFile(library.filePath(u"2-01 Intro.flac"_s));
    writeFile(discTwo.path(), "second disc");
    const Playlist both{QUuid::createUuid(), u"Both"_s, {discOne.id, discTwo.id}, {}, {}};

    const SyncDiff plan = diff({discOne, discTwo});
    ASSERT_EQ(plan.toAdd.size(), 2);
    EXPECT_EQ(sync(plan, {discOne, discTwo}, {both}), QString());
    EXPECT_EQ(readFile(device.filePath(u"Music/Artist/Album/01 Intro.flac"_s)), "Intro");
    EXPECT_EQ(readFile(device.filePath(u"Music/Artist/Album/01 Intro (2).flac"_s)), "second disc");
    EXPECT_EQ(readFile(device.filePath(u"Playlists/Both.m3u8"_s)),
              "#EXTM3U\n#EXTINF:200,Artist - Intro\n../Music/Artist/Album/01 Intro.flac\n"
              "#EXTINF:200,Artist - Intro\n../Music/Artist/Album/01 Intro (2).flac\n");

    const SyncDiff again = diff({discOne, discTwo});
    EXPECT_TRUE(again.toAdd.isEmpty());
    EXPECT_TRUE(again.toRemove.isEmpty());
    EXPECT_EQ(again.unchanged, 2);
}

TEST(DeviceFiles, StayBelowTheRootAndNeverGoThroughALink)
{
    QTemporaryDir device;
    QTemporaryDir outside;
    writeFile(outside.filePath(u"a.mp3"_s), "kept");
    const QString root = device.path();
    ASSERT_TRUE(QFile::link(outside.path(), root + u"/Link"_s));

    EXPECT_EQ(DeviceFiles::makeFolders(root, root + u"/A/B"_s), std::nullopt);
    EXPECT_TRUE(QFileInfo(root + u"/A/B"_s).isDir());
    EXPECT_TRUE(DeviceFiles::makeFolders(root, root + u"/Link/C"_s));
    EXPECT_TRUE(DeviceFiles::makeFolders(root, root + u"/../escape"_s));
    EXPECT_TRUE(DeviceFiles::remove(root, root + u"/Link/a.mp3"_s));
    EXPECT_TRUE(DeviceFiles::remove(root, root + u"/Link"_s));
    EXPECT_EQ(DeviceFiles::remove(root, root + u"/A/missing.mp3"_s), std::nullopt);
    EXPECT_TRUE(DeviceFiles::remove(root, root + u"/A"_s)) << "a folder is not a file";
    EXPECT_EQ(DeviceFiles::checkFolder(root, root + u"/Nothing/Here"_s), std::nullopt);
    EXPECT_TRUE(DeviceFiles::checkFolder(root, root + u"/Link"_s));
    EXPECT_TRUE(DeviceFiles::prepareWrite(root, root + u"/Link/new.mp3"_s));
    EXPECT_EQ(DeviceFiles::prepareWrite(root, root + u"/A/B/new.mp3"_s), std::nullopt);
    EXPECT_TRUE(DeviceFiles::prepareWrite(root, root + u"/A"_s)) << "a folder is not written over";
    EXPECT_EQ(readFile(outside.filePath(u"a.mp3"_s)), "kept");
    EXPECT_TRUE(QDir(outside.path()).entryList(QDir::Dirs | QDir::NoDotAndDotDot).isEmpty());
    EXPECT_TRUE(QFileInfo(root + u"/Link"_s).isSymLink());

    EXPECT_TRUE(DeviceFiles::isAudioFileName(u"/d/x.FLAC"_s));
    EXPECT_TRUE(DeviceFiles::isAudioFileName(u"/d/show.m4b"_s));
    EXPECT_FALSE(DeviceFiles::isAudioFileName(u"/d/notes.txt"_s));
    EXPECT_FALSE(DeviceFiles::isAudioFileName(u"/d/.mp3"_s));
    EXPECT_FALSE(DeviceFiles::isAudioFileName(u"/d.mp3/notes"_s));
}
