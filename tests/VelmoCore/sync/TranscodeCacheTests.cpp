#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "platform/AudioTranscoding.h"
#include "support/EncodedAudio.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "sync/SyncEngine.h"
#include "sync/TranscodeCache.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

void setModified(const QString& path, time_t seconds)
{
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), times, 0), 0);
}

QStringList names(const QString& folder)
{
    QStringList result = QDir(folder).entryList(QDir::Files | QDir::Hidden);
    result.sort();
    return result;
}

} // namespace

TEST(TranscodeCacheTest, AResultIsHandedOutOnlyForTheSameTrackSourceAndSettings)
{
    QTemporaryDir folder;
    const TranscodeCache cache(folder.filePath(u"cache"_s), 1 << 20);
    const QString made = folder.filePath(u"made.mp3"_s);
    writeFile(made, "encoded bytes");
    const QString key = TranscodeCache::key(u"T1"_s, 1000, 5, u"mp3 192"_s);
    cache.store(key, made, u"mp3"_s);

    const std::optional<QString> kept = cache.find(key, u"mp3"_s);
    ASSERT_TRUE(kept);
    EXPECT_EQ(readFile(*kept), "encoded bytes");
    // Another track, a changed source file or other settings are other results.
    for (const QString& other : {TranscodeCache::key(u"T2"_s, 1000, 5, u"mp3 192"_s),
                                 TranscodeCache::key(u"T1"_s, 1001, 5, u"mp3 192"_s),
                                 TranscodeCache::key(u"T1"_s, 1000, 6, u"mp3 192"_s),
                                 TranscodeCache::key(u"T1"_s, 1000, 5, u"mp3 256"_s)}) {
        EXPECT_FALSE(cache.find(other, u"mp3"_s)) << other.toStdString();
    }
    EXPECT_EQ(cache.stats(), (TranscodeCache::Stats{1, 13}));
    EXPECT_EQ(cache.clear(), 1);
    EXPECT_EQ(cache.stats(), (TranscodeCache::Stats{0, 0}));
    EXPECT_FALSE(cache.find(key, u"mp3"_s));
}

TEST(TranscodeCacheTest, TheLeastRecentlyUsedGoFirstWhenTheLimitIsPassed)
{
    QTemporaryDir folder;
    const TranscodeCache cache(folder.filePath(u"cache"_s), 3000);
    const auto key = [](const QString& name) { return TranscodeCache::key(name, 1000, 0, u"s"_s); };
    const auto keep = [&](const QString& name) {
        const QString made = folder.filePath(name + u".mp3"_s);
        writeFile(made, QByteArray(1000, name.at(0).toLatin1()));
        cache.store(key(name), made, u"mp3"_s);
    };
    const auto fetched = [&](const QString& name) { return cache.find(key(name), u"mp3"_s).has_value(); };
    keep(u"a"_s);
    keep(u"b"_s);
    keep(u"c"_s);
    // Kept in the order a, b, c, seconds apart; then a is used again.
    setModified(cache.pathFor(key(u"a"_s), u"mp3"_s), 1'000'100);
    setModified(cache.pathFor(key(u"b"_s), u"mp3"_s), 1'000'200);
    setModified(cache.pathFor(key(u"c"_s), u"mp3"_s), 1'000'300);
    ASSERT_TRUE(fetched(u"a"_s));

    keep(u"d"_s);
    EXPECT_EQ(cache.stats(), (TranscodeCache::Stats{3, 3000}));
    EXPECT_FALSE(QFileInfo::exists(cache.pathFor(key(u"b"_s), u"mp3"_s)));
    keep(u"e"_s);
    EXPECT_FALSE(fetched(u"c"_s));
    EXPECT_TRUE(fetched(u"a"_s));
    EXPECT_TRUE(fetched(u"d"_s));
    EXPECT_TRUE(fetched(u"e"_s));

    // A file larger than the whole cache is not kept, and pushes nothing out.
    const QString huge = folder.filePath(u"huge.mp3"_s);
    writeFile(huge, QByteArray(4000, 'h'));
    cache.store(key(u"huge"_s), huge, u"mp3"_s);
    EXPECT_EQ(cache.stats(), (TranscodeCache::Stats{3, 3000}));
}

namespace {

class SyncEngineCacheTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        profile.id = QUuid::createUuid();
        profile.name = u"Player"_s;
        profile.outputFormat = OutputFormat::mp3;
        profile.transcodeBitrate = 128;
        profile.syncPlaylists = false;
        for (int i = 0; i < 2; ++i) {
            Track track = makeTrack(u"Song %1"_s.arg(i + 1), u"Artist"_s, u"Album"_s);
            track.trackNumber = i + 1;
            track.url = QUrl::fromLocalFile(library.filePath(track.title + u".flac"_s));
            EncodedAudio::write(EncodedAudio::music(unsigned(i), 1.0), track.path());
            tracks.append(track);
        }
        engine.setTranscodeCacheFolder(cacheFolder.path());
        engine.setEncoder([this](const QString& source, const QString& destination,
                                 const AudioTranscoding::Target& target) {
            ++encoderRuns;
            AudioTranscoding::transcode(source, destination, target);
        });
    }

    // Syncs the library onto the folder `root`, from what is there now.
    void syncTo(const QString& root)
    {
        profile.rootPath = root;
        QDir().mkpath(root);
        const SyncDiff diff = SyncDiff::compute(tracks, {}, {}, profile, QUrl::fromLocalFile(library.path()), {});
        BlockingWait::wait(engine.sync(diff, profile, {}, {}, tracks, QUrl::fromLocalFile(library.path()), {}));
    }

    QByteArray onDevice(const QString& root, int n) const
    {
        return readFile(root + u"/Music/Artist/Album/0%1 Song %1.mp3"_s.arg(n));
    }

    QTemporaryDir library;
    QTemporaryDir cacheFolder;
    QTemporaryDir devices;
    QList<Track> tracks;
    DeviceProfile profile;
    SyncEngine engine;
    std::atomic<int> encoderRuns = 0;
};

} // namespace

TEST_F(SyncEngineCacheTest, ASecondDeviceAndAWipedOneGetCopiesWithoutAnEncoderRun)
{
    const QString first = devices.filePath(u"first"_s), second = devices.filePath(u"second"_s);
    syncTo(first);
    EXPECT_EQ(encoderRuns, 2);

    syncTo(second);
    EXPECT_EQ(encoderRuns, 2);
    EXPECT_EQ(onDevice(second, 1), onDevice(first, 1));
    EXPECT_EQ(onDevice(second, 2), onDevice(first, 2));
    EXPECT_EQ(TagReader::read(QUrl::fromLocalFile(second + u"/Music/Artist/Album/02 Song 2.mp3"_s))->title, u"Song 2"_s);

    ASSERT_TRUE(QDir(first).removeRecursively());
    syncTo(first);
    EXPECT_EQ(encoderRuns, 2);
    EXPECT_EQ(onDevice(first, 1), onDevice(second, 1));
    EXPECT_EQ(names(first + u"/Music/Artist/Album"_s), (QStringList{u"01 Song 1.mp3"_s, u"02 Song 2.mp3"_s}));
}

TEST_F(SyncEngineCacheTest, OtherSettingsOrAChangedSourceEncodeAgain)
{
    syncTo(devices.filePath(u"first"_s));
    ASSERT_EQ(encoderRuns, 2);

    profile.transcodeBitrate = 192;
    syncTo(devices.filePath(u"faster"_s));
    EXPECT_EQ(encoderRuns, 4);

    profile.coverSize = CoverSize::px300;
    syncTo(devices.filePath(u"smaller covers"_s));
    EXPECT_EQ(encoderRuns, 6);

    // The library file rewritten, as a tag edit does: its size or date no longer match.
    EncodedAudio::write(EncodedAudio::music(7, 1.5), tracks.at(0).path());
    syncTo(devices.filePath(u"edited"_s));
    EXPECT_EQ(encoderRuns, 7);
}

TEST_F(SyncEngineCacheTest, WithoutACacheEveryDeviceEncodes)
{
    engine.setTranscodeCacheFolder(std::nullopt);
    syncTo(devices.filePath(u"first"_s));
    syncTo(devices.filePath(u"second"_s));
    EXPECT_EQ(encoderRuns, 4);
    EXPECT_TRUE(names(cacheFolder.path()).isEmpty());
}
