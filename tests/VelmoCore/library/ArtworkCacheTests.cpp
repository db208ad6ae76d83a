#include "library/ArtworkCache.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "library/TagWriter.h"
#include "support/AudioFixtures.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QFile>
#include <QSemaphore>

#include <gtest/gtest.h>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

// Reads through TagReader as the program does, counting the reads; each waits for the test
// to let it go when `gate` is set, so that calls can be made while a read is in flight.
class ArtworkCacheTest : public ::testing::Test {
protected:
    ~ArtworkCacheTest() override { gate.release(1000); }

    Track trackWithPicture(const QByteArray& picture)
    {
        Track track = makeTrack(u"Song"_s);
        const QString path = AudioFixtures::copySample(u"taglib/sinewave.flac"_s, folder.filePath(u"song.flac"_s));
        track.url = QUrl::fromLocalFile(path);
        if (!picture.isEmpty())
            TagWriter::writeArtwork(track.url, picture, u"image/png"_s);
        return track;
    }

    QTemporaryDir folder;
    std::atomic<int> reads = 0;
    std::atomic<bool> gated = false;
    QSemaphore gate;
    ArtworkCache cache{[this](const QUrl& url) -> ArtworkCache::Artwork {
        ++reads;
        if (gated)
            gate.acquire();
        const auto metadata = TagReader::read(url);
        return metadata ? metadata->artworkData : std::nullopt;
    }};
    const QByteArray png = AudioFixtures::pngBytes();
};

} // namespace

TEST_F(ArtworkCacheTest, MissesAndHitsAreRememberedAndSimultaneousCallsShareOneRead)
{
    const Track track = trackWithPicture({});
    EXPECT_EQ(BlockingWait::wait(cache.artwork(track)), std::nullopt);
    TagWriter::writeArtwork(track.url, png, u"image/png"_s);
    EXPECT_EQ(BlockingWait::wait(cache.artwork(track)), std::nullopt);
    EXPECT_EQ(reads, 1);
    const std::optional<ArtworkCache::Artwork> knownWithout{ArtworkCache::Artwork()};
    EXPECT_EQ(cache.cached(track.id), knownWithout);

    cache.invalidate(track.id);
    QCoro::Task<ArtworkCache::Artwork> first = cache.artwork(track);
    QCoro::Task<ArtworkCache::Artwork> second = cache.artwork(track);
    EXPECT_EQ(BlockingWait::wait(std::move(first)), png) << "read again once invalidated";
    EXPECT_EQ(BlockingWait::wait(std::move(second)), png);
    EXPECT_EQ(reads, 2);

    QFile::remove(track.path());
    EXPECT_EQ(BlockingWait::wait(cache.artwork(track)), png) << "a hit is remembered";
    EXPECT_EQ(reads, 2);
}

TEST_F(ArtworkCacheTest, InvalidatingDuringAReadStartsANewOne)
{
    const Track track = trackWithPicture({});
    gated = true;
    QCoro::Task<ArtworkCache::Artwork> stale = cache.artwork(track);
    cache.invalidate(track.id);
    TagWriter::writeArtwork(track.url, png, u"image/png"_s);
    QCoro::Task<ArtworkCache::Artwork> fresh = cache.artwork(track);
    gate.release(2);
    BlockingWait::wait(std::move(fresh));
    BlockingWait::wait(std::move(stale));
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(cache.cached(track.id), std::optional<ArtworkCache::Artwork>(png))
        << "whatever the dropped read found, the later one is kept";
}

TEST_F(ArtworkCacheTest, WarmingDuringAReadWins)
{
    const Track track = trackWithPicture(png);
    gated = true;
    QCoro::Task<ArtworkCache::Artwork> reading = cache.artwork(track);
    const QByteArray fetched("\xFF\xD8\xFF\xE0 fetched", 12);
    cache.warm(fetched, track.id);
    gate.release();
    BlockingWait::wait(std::move(reading));
    EXPECT_EQ(cache.cached(track.id), std::optional<ArtworkCache::Artwork>(fetched));
    EXPECT_EQ(BlockingWait::wait(cache.artwork(track)), fetched);
    EXPECT_EQ(reads, 1);
}
