#include "../../support/DiscImages.h"
#include "../../support/RipSetup.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "library/TagReader.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class RipLoudnessTest : public ::testing::Test, protected RipSetup {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        image = DiscImages::writeImage(folder.path(), 2, 300);
        toc = MusicBrainzDiscLookup::readDiscTOC(image.sheet);
    }
    void TearDown() override { EXPECT_TRUE(coverSearchEnded()); }

    // An unknown disc: no release to look up, so it is ripped under the names it starts with.
    void rip()
    {
        BlockingWait::wait(controller.start(image.sheet, library));
        BlockingWait::wait(controller.ripWithoutMetadata(image.sheet, library));
        ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
        BlockingWait::wait(controller.startRip(image.sheet, library, std::nullopt, false));
        ASSERT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state()));
        ASSERT_EQ(library.tracks().size(), 2);
    }
};

} // namespace

TEST_F(RipLoudnessTest, ARippedDiscArrivesWithItsTrackAndAlbumGains)
{
    rip();
    const QList<Track> tracks = library.tracks();
    for (const Track& track : tracks) {
        ASSERT_TRUE(track.replayGainTrack) << qPrintable(track.title);
        ASSERT_TRUE(track.replayGainAlbum);
        const std::optional<TrackMetadata> tags = TagReader::read(track.url);
        EXPECT_EQ(tags->replayGainTrack, track.replayGainTrack) << "the file and the catalogue agree";
        EXPECT_EQ(tags->replayGainAlbum, track.replayGainAlbum);
    }
    EXPECT_EQ(tracks.at(0).replayGainAlbum, tracks.at(1).replayGainAlbum) << "one album";
}

TEST_F(RipLoudnessTest, TurnedOffARipLeavesTheLoudnessAlone)
{
    Settings::setValue(Settings::analyseLoudnessAfterRipping, false);
    rip();
    for (const Track& track : library.tracks()) {
        EXPECT_EQ(track.replayGainTrack, std::nullopt);
        EXPECT_EQ(TagReader::read(track.url)->replayGainTrack, std::nullopt);
    }
}
