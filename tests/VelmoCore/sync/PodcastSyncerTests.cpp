#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "podcasts/PodcastStore.h"
#include "support/AsyncTesting.h"
#include "support/TestEnvironment.h"
#include "sync/PodcastSyncer.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList listing(const QString& folder)
{
    QStringList paths;
    QDirIterator it(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext())
        paths.append(it.next().mid(folder.size() + 1));
    paths.sort();
    return paths;
}

class PodcastSyncerTest : public ::testing::Test {
protected:
    Podcast podcast(const QString& title)
    {
        Podcast made;
        made.id = QUuid::createUuid();
        made.title = title;
        made.feedURL = QUrl(u"https://example.com/"_s + title);
        return made;
    }

    // A downloaded episode whose file lies in the library's podcast folder.
    Episode episode(const Podcast& of, const QString& fileName, double published, bool onDisk = true)
    {
        Episode made;
        made.id = QUuid::createUuid();
        made.podcastID = of.id;
        made.title = fileName;
        made.remoteURL = QUrl(u"https://example.com/"_s + fileName);
        made.publishDate = Date{published};
        made.downloadState = DownloadState::downloaded;
        const QString path = downloads.filePath((of.title.isEmpty() ? u"untitled"_s : of.title) + u'/' + fileName);
        made.localURL = QUrl::fromLocalFile(path);
        if (onDisk)
            writeFile(path, fileName.toUtf8());
        return made;
    }

    QUrl root() const { return QUrl::fromLocalFile(device.path()); }

    QTemporaryDir downloads;
    QTemporaryDir device;
};

} // namespace

TEST_F(PodcastSyncerTest, EpisodesToSyncAreTheDownloadedOnesOfThePodcastNewestFirst)
{
    const Podcast news = podcast(u"News"_s), other = podcast(u"Other"_s);
    const Episode old = episode(news, u"old.mp3"_s, 100), fresh = episode(news, u"fresh.mp3"_s, 300),
                  tieA = episode(news, u"tieA.mp3"_s, 200), tieB = episode(news, u"tieB.mp3"_s, 200);
    Episode streaming = episode(news, u"streaming.mp3"_s, 400);
    streaming.downloadState = DownloadState::downloading;
    const Episode foreign = episode(other, u"foreign.mp3"_s, 500);

    const QList<Episode> chosen = PodcastSyncer::episodesToSync(news, {old, tieA, streaming, fresh, foreign, tieB});
    EXPECT_EQ(chosen, (QList<Episode>{fresh, tieA, tieB, old}));
}

TEST_F(PodcastSyncerTest, CopiesWhatIsOnDiskAndSweepsOtherAudioButNeverHiddenOrOtherFiles)
{
    const Podcast news = podcast(u"News: Daily"_s), quiet = podcast(u"Quiet"_s);
    const Episode kept = episode(news, u"kept.mp3"_s, 2), gone = episode(news, u"gone.mp3"_s, 1, false);
    writeFile(device.filePath(u"Podcasts/News- Daily/gone.mp3"_s), "was synced before");
    writeFile(device.filePath(u"Podcasts/Quiet/older.mp3"_s), "old episode");
    writeFile(device.filePath(u"Podcasts/notes.txt"_s), "stray");
    writeFile(device.filePath(u"Podcasts/.hidden"_s), "stays");
    writeFile(device.filePath(u"Music/song.mp3"_s), "not the syncer's business");

    PodcastSyncer::sync({{news, {kept, gone}}, {quiet, {}}}, root(), u"Podcasts"_s);

    EXPECT_EQ(listing(device.path()), (QStringList{u"Music/song.mp3"_s, u"Podcasts/.hidden"_s,
                                                   u"Podcasts/News- Daily/kept.mp3"_s, u"Podcasts/notes.txt"_s}));
    // A podcast without episodes makes no folder; the one it had stays, empty.
    EXPECT_TRUE(QFileInfo(device.filePath(u"Podcasts/Quiet"_s)).isDir());
    EXPECT_EQ(readFile(device.filePath(u"Podcasts/News- Daily/kept.mp3"_s)), "kept.mp3");
}

TEST_F(PodcastSyncerTest, AnEpisodeAlreadyThereIsLeftAsItIs)
{
    const Podcast news = podcast(u"News"_s);
    const Episode kept = episode(news, u"kept.mp3"_s, 1);
    writeFile(device.filePath(u"Podcasts/News/kept.mp3"_s), "other bytes");
    PodcastSyncer::sync({{news, {kept}}}, root(), u"Podcasts"_s);
    EXPECT_EQ(readFile(device.filePath(u"Podcasts/News/kept.mp3"_s)), "other bytes");
}

TEST_F(PodcastSyncerTest, PodcastsWhoseTitlesCleanAlikeShareAFolderAndTheFirstCopyWins)
{
    const Podcast first = podcast(u"A/B"_s), second = podcast(u"A:B"_s), untitled = podcast(u""_s);
    const Episode one = episode(first, u"same.mp3"_s, 1);
    writeFile(downloads.filePath(u"second/same.mp3"_s), "the second's");
    Episode two = episode(second, u"two.mp3"_s, 1);
    two.localURL = QUrl::fromLocalFile(downloads.filePath(u"second/same.mp3"_s));
    const Episode nameless = episode(untitled, u"n.mp3"_s, 1);

    PodcastSyncer::sync({{first, {one}}, {second, {two}}, {untitled, {nameless}}}, root(), u"Podcasts"_s);
    EXPECT_EQ(listing(device.filePath(u"Podcasts"_s)), (QStringList{u"A-B/same.mp3"_s, u"Unknown Podcast/n.mp3"_s}));
    EXPECT_EQ(readFile(device.filePath(u"Podcasts/A-B/same.mp3"_s)), "same.mp3");
}

TEST_F(PodcastSyncerTest, AFolderThatCannotBeMadeFailsInWordsAndRemovesNothing)
{
    const Podcast news = podcast(u"News"_s);
    const Episode kept = episode(news, u"kept.mp3"_s, 1);
    writeFile(device.filePath(u"Podcasts/News"_s), "a file in the way");
    writeFile(device.filePath(u"Podcasts/stray.mp3"_s), "x");
    try {
        PodcastSyncer::sync({{news, {kept}}}, root(), u"Podcasts"_s);
        ADD_FAILURE() << "no error";
    } catch (const PodcastSyncer::SyncError& error) {
        EXPECT_EQ(error.kind(), PodcastSyncer::SyncError::Kind::folderFailed);
        EXPECT_EQ(error.message(), u"The podcast folder “%1” could not be created on the device: part of the path is not a folder."_s
                                       .arg(device.filePath(u"Podcasts/News"_s)));
    }
    EXPECT_TRUE(QFileInfo::exists(device.filePath(u"Podcasts/stray.mp3"_s)));
}

TEST_F(PodcastSyncerTest, TheLibraryPutsOnlyThePodcastsTheProfileHasOn)
{
    TestEnvironment::clearSettings();
    TemporaryStores stores;
    const Podcast on = podcast(u"On"_s), off = podcast(u"Off"_s), unlisted = podcast(u"Unlisted"_s);
    const Episode a = episode(on, u"a.mp3"_s, 1), b = episode(off, u"b.mp3"_s, 1), c = episode(unlisted, u"c.mp3"_s, 1);
    ASSERT_EQ(PodcastStore::save({on, off, unlisted}, {a, b, c}), std::nullopt);
    Library library(QUrl::fromLocalFile(stores.folder() + u"/Music"_s));
    DeviceProfile profile = library.createDeviceProfile(u"Player"_s, device.path());
    profile.podcastConfigs.insert(on.id, {.enabled = true});
    profile.podcastConfigs.insert(off.id, {.enabled = false});
    writeFile(device.filePath(u"Podcasts/Off/b.mp3"_s), "synced while it was on");

    EXPECT_EQ(library.episodesToSync(off, profile), QList<Episode>{});
    EXPECT_EQ(library.episodesToSync(unlisted, profile), QList<Episode>{c});
    BlockingWait::wait(library.syncPodcastsToDevice(device.path(), profile));
    EXPECT_EQ(listing(device.filePath(u"Podcasts"_s)), (QStringList{u"On/a.mp3"_s, u"Unlisted/c.mp3"_s}));
}
