#include "../../support/AudioFixtures.h"
#include "../../support/DiscImages.h"
#include "../../support/FakeClock.h"
#include "../../support/FakeServices.h"
#include "../../support/RipSetup.h"
#include "../../support/TestEnvironment.h"
#include "../../support/TrackFactory.h"
#include "disc/CueSheet.h"
#include "facade/CDRipController.h"
#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/TagReader.h"
#include "metadata/MusicBrainzDiscLookup.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <cerrno>


using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr qint64 framesPerTrack = 30;

ReleaseMetadata releaseNamed(const QString& mbid, std::optional<QString> status, std::optional<QString> group = {})
{
    return {.mbid = mbid, .title = u"Album"_s, .artist = u"Band"_s, .status = status, .releaseGroupID = group};
}

class CDRipControllerTest : public ::testing::Test, protected RipSetup {
protected:
    void SetUp() override { TestEnvironment::clearSettings(); }
    void TearDown() override { EXPECT_TRUE(coverSearchEnded()); }

    // A disc image of `trackCount` tracks.
    void insertDisc(qint64 trackCount)
    {
        image = DiscImages::writeImage(folder.path(), trackCount, framesPerTrack);
        sheet = image.sheet;
        toc = MusicBrainzDiscLookup::readDiscTOC(sheet);
    }

    // MusicBrainz knows the disc as these releases, each of `tracks` tracks.
    void knownAs(const QStringList& ids, qint64 tracks, const QStringList& statuses = {})
    {
        QJsonArray list;
        for (qsizetype i = 0; i < ids.size(); ++i)
            list.append(DiscImages::musicBrainzRelease(ids.at(i), u"Album "_s + ids.at(i), toc.discID, tracks,
                                    statuses.value(i, u"Official"_s)));
        answerLookup(QJsonDocument(QJsonObject{{"releases"_L1, list}}).toJson());
    }

    void answerLookup(const QByteArray& body)
    {
        services.musicBrainz.route(discPath(), FakeResponse::ok(body, "application/json"));
    }

    QString discPath() const { return u"/ws/2/discid/"_s + toc.discID; }

    QByteArray trackAudio(qint64 index) const { return image.trackAudio(index, framesPerTrack); }

    const RipStates::Ready& ready() const { return std::get<RipStates::Ready>(controller.state()); }
    const RipStates::Finished& finished() const { return std::get<RipStates::Finished>(controller.state()); }

    static qsizetype countDone(const QList<TrackRipState>& tracks)
    {
        return std::ranges::count_if(tracks, [](const TrackRipState& track) {
            return std::holds_alternative<TrackRipStates::Done>(track);
        });
    }

    QString sheet;
};

} // namespace

TEST(CDRipControllerRules, ReleasePreselection)
{
    using C = CDRipController;
    const QList<ReleaseMetadata> noneOfficial{releaseNamed(u"a"_s, u"Bootleg"_s), releaseNamed(u"b"_s, {})};
    EXPECT_EQ(C::chooseRelease(noneOfficial, {}), 0) << "nothing known and nothing official: the first";
    EXPECT_EQ(C::preferredRelease(noneOfficial, {}), std::nullopt);
    EXPECT_EQ(C::chooseRelease({}, {}), 0);

    const QList<ReleaseMetadata> releases{releaseNamed(u"a"_s, u"Promotion"_s, u"g1"_s),
                                          releaseNamed(u"b"_s, u"Official"_s, u"g2"_s),
                                          releaseNamed(u"c"_s, u"Bootleg"_s, u"g3"_s),
                                          releaseNamed(u"d"_s, u"Official"_s, u"g3"_s)};
    EXPECT_EQ(C::chooseRelease(releases, {}), 1) << "the first Official one";
    Track secondCopy = makeTrack(u"Song"_s);
    secondCopy.releaseGroupMBID = u"g3"_s;
    EXPECT_EQ(C::chooseRelease(releases, {secondCopy}), 2) << "the known group goes before an Official release";
    Track sameRelease = makeTrack(u"Other"_s);
    sameRelease.releaseMBID = u"d"_s;
    EXPECT_EQ(C::chooseRelease(releases, {secondCopy, sameRelease}), 3) << "the known release goes first";
    EXPECT_EQ(C::chooseRelease({releaseNamed(QString(), u"Bootleg"_s), releaseNamed(u"x"_s, u"Official"_s)},
                               {makeTrack(u"No ids"_s)}),
              1)
        << "a track without a release id matches no release";

    const ExistingRipInfo info{.presentIndices = {0, 3, 6}, .totalTracks = 8};
    EXPECT_EQ(info.missingIndices(), (QList<qint64>{1, 2, 4, 5, 7}));
}

TEST_F(CDRipControllerTest, AKnownDiscIsRippedIntoTheLibraryThenAskedToBeEjectedAndARipAgainKeepsTheIDs)
{
    insertDisc(3);
    knownAs({u"rel-1"_s}, 3);
    const QByteArray cover = AudioFixtures::pngBytes();
    services.coverArt.route(u"/release/rel-1/front"_s, FakeResponse::ok(cover, "image/png"));

    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
    EXPECT_EQ(ready().selectedIndex, 0);
    EXPECT_TRUE(ready().existing.presentIndices.isEmpty());
    EXPECT_EQ(ready().existing.totalTracks, 3);
    EXPECT_EQ(controller.trackedBSDName(), sheet);
    ASSERT_TRUE(QTest::qWaitFor([&] { return controller.artworkData().has_value(); }, 5000));
    EXPECT_EQ(*controller.artworkData(), cover);
    EXPECT_EQ(controller.overallProgress(), std::nullopt);

    QList<double> progress;
    QObject::connect(&controller, &CDRipController::stateChanged, [&] {
        if (const auto fraction = controller.overallProgress())
            progress.append(*fraction);
    });
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    ASSERT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state()));
    EXPECT_EQ(countDone(finished().tracks), 3);
    EXPECT_FALSE(progress.isEmpty());
    EXPECT_TRUE(std::ranges::is_sorted(progress)) << "the bar never goes back";
    EXPECT_EQ(controller.pendingEjectBSDName(), sheet);
    EXPECT_EQ(controller.cachedRelease()->mbid, u"rel-1"_s);

    ASSERT_EQ(library.tracks().size(), 3);
    const Track second = library.tracks().at(1);
    EXPECT_EQ(second.releaseMBID, u"rel-1"_s);
    EXPECT_EQ(second.album, u"Album rel-1"_s);
    EXPECT_EQ(second.artworkData, cover);
    EXPECT_EQ(TagReader::read(second.url)->externalID, u"rel-1-recording-2"_s);
    const auto decoded = FlacFiles::decode(second.path());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pcm, trackAudio(1)) << "the disc's own samples";

    controller.clearPendingEject();
    controller.reset();
    EXPECT_EQ(controller.trackedBSDName(), sheet) << "reset keeps the disc";
    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
    EXPECT_EQ(ready().existing.presentIndices, (QSet<qint64>{0, 1, 2})) << "the whole album is here";
    ASSERT_TRUE(QTest::qWaitFor([&] { return controller.artworkData().has_value(); }, 5000));
    EXPECT_EQ(*controller.artworkData(), cover);
    EXPECT_EQ(services.coverArt.requestCount(u"/release/rel-1/front"_s), 1) << "the library's own cover serves";
    QList<QUuid> ids;
    for (const Track& track : library.tracks())
        ids.append(track.id);
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, true));
    EXPECT_EQ(countDone(finished().tracks), 3);
    ASSERT_EQ(library.tracks().size(), 3);
    for (qsizetype i = 0; i < 3; ++i)
        EXPECT_EQ(library.tracks().at(i).id, ids.at(i)) << "a re-rip keeps identity";
}

TEST_F(CDRipControllerTest, RipMissingTracksWithThreeOfTenPresent)
{
    insertDisc(10);
    knownAs({u"ten"_s}, 10);
    QList<QUuid> present;
    for (const int n : {1, 4, 7}) {
        const Track track = makeTrack(u"Song %1"_s.arg(n), u"Band"_s, u"Album ten"_s, 201.0);
        library.add(track);
        present.append(track.id);
    }

    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
    EXPECT_EQ(ready().existing.presentIndices, (QSet<qint64>{0, 3, 6}));
    const QList<qint64> missing = ready().existing.missingIndices();
    EXPECT_EQ(missing, (QList<qint64>{1, 2, 4, 5, 7, 8, 9}));

    drive->allowedTracks = 0;
    QCoro::Task<> rip = controller.startRip(sheet, library, missing, false);
    const auto& running = std::get<RipStates::Ripping>(controller.state());
    EXPECT_EQ(countDone(running.tracks), 3) << "the three present show as done at once";
    EXPECT_EQ(std::get<TrackRipStates::Done>(running.tracks.at(3)).track.id, present.at(1));
    EXPECT_TRUE(std::holds_alternative<TrackRipStates::Waiting>(running.tracks.at(1)));
    EXPECT_DOUBLE_EQ(*controller.overallProgress(), 0.3);
    drive->allowedTracks = 99;
    BlockingWait::wait(std::move(rip));

    EXPECT_EQ(countDone(finished().tracks), 10);
    EXPECT_EQ(controller.pendingEjectBSDName(), sheet);
    EXPECT_EQ(library.tracks().size(), 10);
}

TEST_F(CDRipControllerTest, AFailedTrackIsRetriedAloneAndTheRetryAsksNoEject)
{
    insertDisc(3);
    knownAs({u"r"_s}, 3);
    drive->badSectors = {toc.trackStart(1) + 5};

    BlockingWait::wait(controller.start(sheet, library));
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    ASSERT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state()));
    const auto* failed = std::get_if<TrackRipStates::Failed>(&finished().tracks.at(1));
    ASSERT_NE(failed, nullptr);
    EXPECT_FALSE(failed->error.message.isEmpty());
    EXPECT_EQ(countDone(finished().tracks), 2);
    EXPECT_EQ(controller.pendingEjectBSDName(), std::nullopt) << "not every track is in";
    const QUuid firstID = std::get<TrackRipStates::Done>(finished().tracks.at(0)).track.id;

    drive->badSectors.clear();
    BlockingWait::wait(controller.retryFailedTracks(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state()));
    EXPECT_EQ(countDone(finished().tracks), 3);
    EXPECT_EQ(std::get<TrackRipStates::Done>(finished().tracks.at(0)).track.id, firstID) << "done rows are left alone";
    EXPECT_EQ(controller.pendingEjectBSDName(), std::nullopt) << "a retry never asks for the eject";
    EXPECT_EQ(library.tracks().size(), 3);
    const auto decoded = FlacFiles::decode(library.tracks().at(2).path());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->pcm, trackAudio(1)) << "the retried track, entered last, holds its samples";

    BlockingWait::wait(controller.retryFailedTracks(sheet, library));
    EXPECT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state())) << "nothing to retry";
}

TEST_F(CDRipControllerTest, ADiscRemovedMidRipFailsTheRestWithTheDevicesError)
{
    insertDisc(3);
    knownAs({u"r"_s}, 3);
    BlockingWait::wait(controller.start(sheet, library));
    QObject::connect(&controller, &CDRipController::stateChanged, [&] {
        const auto* running = std::get_if<RipStates::Ripping>(&controller.state());
        if (running && std::holds_alternative<TrackRipStates::Done>(running->tracks.at(0))) {
            std::lock_guard lock(drive->mutex);
            drive->removed = true;
        }
    });
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    EXPECT_EQ(countDone(finished().tracks), 1);
    for (const qsizetype i : {1, 2}) {
        const auto* failed = std::get_if<TrackRipStates::Failed>(&finished().tracks.at(i));
        ASSERT_NE(failed, nullptr);
        EXPECT_EQ(failed->error.message, CDRipper::RipError::deviceOpenFailed(ENOMEDIUM).message());
    }
}

TEST_F(CDRipControllerTest, ACoverArrivingDuringTheRipReachesEveryTrackAtTheEnd)
{
    insertDisc(2);
    knownAs({u"r"_s}, 2);
    const QByteArray cover = AudioFixtures::pngBytes();
    FakeResponse slowCover = FakeResponse::ok(cover, "image/png");
    slowCover.delay = 300ms;
    services.coverArt.route(u"/release/r/front"_s, slowCover);

    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_FALSE(controller.artworkData().has_value());
    drive->allowedTracks = 0;
    QCoro::Task<> rip = controller.startRip(sheet, library, std::nullopt, false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return controller.artworkData().has_value(); }, 5000));
    EXPECT_TRUE(std::holds_alternative<RipStates::Ripping>(controller.state()));
    drive->allowedTracks = 99;
    BlockingWait::wait(std::move(rip));

    ASSERT_EQ(countDone(finished().tracks), 2);
    for (const TrackRipState& state : finished().tracks)
        EXPECT_EQ(std::get<TrackRipStates::Done>(state).track.artworkData, cover);
    for (const Track& track : library.tracks()) {
        EXPECT_EQ(track.artworkData, cover);
        EXPECT_EQ(TagReader::read(track.url)->artworkData, cover) << "written into the file after the rip";
    }
}

TEST_F(CDRipControllerTest, SelectingAnotherReleaseDropsTheOlderCover)
{
    insertDisc(2);
    knownAs({u"a"_s, u"b"_s}, 2);
    const QByteArray slowBytes = AudioFixtures::pngBytes() + QByteArray("slow");
    FakeResponse slow = FakeResponse::ok(slowBytes, "image/png");
    slow.delay = 300ms;
    services.coverArt.route(u"/release/a/front"_s, slow);
    const QByteArray quick = AudioFixtures::pngBytes();
    services.coverArt.route(u"/release/b/front"_s, FakeResponse::ok(quick, "image/png"));

    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_EQ(ready().selectedIndex, 0);
    const qint64 generation = controller.artworkFetchGeneration();
    controller.selectRelease(1, library);
    EXPECT_EQ(ready().selectedIndex, 1);
    EXPECT_EQ(controller.artworkFetchGeneration(), generation + 1);
    controller.selectRelease(5, library);
    EXPECT_EQ(ready().selectedIndex, 1) << "an index outside the list is ignored";

    ASSERT_TRUE(QTest::qWaitFor([&] { return services.coverArt.requestCount(u"/release/a/front"_s) == 1; }, 5000));
    QTest::qWait(600);
    EXPECT_EQ(controller.artworkData(), quick) << "the older answer is dropped";
}

TEST_F(CDRipControllerTest, ShowingTheScreenAgainMidRipOnlyReadsTheTOC)
{
    insertDisc(2);
    knownAs({u"r"_s}, 2);
    BlockingWait::wait(controller.start(sheet, library));
    drive->allowedTracks = 0;
    QCoro::Task<> rip = controller.startRip(sheet, library, std::nullopt, false);
    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_TRUE(std::holds_alternative<RipStates::Ripping>(controller.state()));
    EXPECT_EQ(services.musicBrainz.requestCount(discPath()), 1) << "no second lookup";
    drive->allowedTracks = 99;
    BlockingWait::wait(std::move(rip));
    EXPECT_EQ(countDone(finished().tracks), 2);

    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state())) << "the summary stays too";
}

TEST_F(CDRipControllerTest, ARipIsEnteredEvenWhenAnotherDiscTakesTheController)
{
    insertDisc(2);
    knownAs({u"r"_s}, 2);
    BlockingWait::wait(controller.start(sheet, library));
    drive->allowedTracks = 0;
    QCoro::Task<> rip = controller.startRip(sheet, library, std::nullopt, false);

    QTemporaryDir other;
    const DiscImages::WrittenImage second = DiscImages::writeImage(other.path(), 4, framesPerTrack, 9);
    BlockingWait::wait(controller.start(second.sheet, library));
    EXPECT_EQ(controller.trackedBSDName(), second.sheet);
    ASSERT_TRUE(std::holds_alternative<RipStates::LookupFailed>(controller.state()));
    drive->allowedTracks = 99;
    BlockingWait::wait(std::move(rip));

    EXPECT_TRUE(std::holds_alternative<RipStates::LookupFailed>(controller.state())) << "the new disc's screen stays";
    EXPECT_EQ(library.tracks().size(), 2) << "the first disc's files are in the catalogue";
    EXPECT_EQ(controller.pendingEjectBSDName(), std::nullopt);
}

TEST_F(CDRipControllerTest, LookupFailuresInTheUsersWordsThenTryAgain)
{
    insertDisc(2);
    const auto failure = [&] { return std::get<RipStates::LookupFailed>(controller.state()); };

    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_EQ(failure().message, u"This disc isn't in the MusicBrainz database yet."_s);
    EXPECT_TRUE(failure().discUnknown);

    answerLookup("<html>busy</html>");
    BlockingWait::wait(controller.lookUp(sheet, library));
    EXPECT_FALSE(failure().message.isEmpty());
    EXPECT_NE(failure().message, u"This disc isn't in the MusicBrainz database yet."_s);
    EXPECT_FALSE(failure().discUnknown) << "garbage is no proof the disc is unknown";

    FakeServices::configure(FakeServices::vacantAddress(), FakeServices::vacantAddress(),
                            FakeServices::vacantAddress());
    BlockingWait::wait(controller.lookUp(sheet, library));
    EXPECT_EQ(failure().message, u"Couldn't reach MusicBrainz. Check your internet connection and try again."_s);
    FakeServices::configure(services.musicBrainz.url(QString()), services.coverArt.url(QString()),
                            services.iTunes.url(QString()));
    knownAs({u"r"_s}, 2);
    BlockingWait::wait(controller.lookUp(sheet, library));
    EXPECT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state())) << "Try Again";

    // A sheet gone wrong speaks for itself.
    writeFile(sheet, "FILE \"disc.bin\" BINARY\n  TRACK 01 AUDIO\n");
    QString expected;
    try {
        MusicBrainzDiscLookup::readDiscTOC(sheet);
    } catch (const CueSheet::LoadError& error) {
        expected = error.message();
    }
    ASSERT_FALSE(expected.isEmpty());
    controller.reset();
    BlockingWait::wait(controller.start(sheet, library));
    EXPECT_EQ(failure().message, expected);
    EXPECT_FALSE(failure().discUnknown);
}

TEST_F(CDRipControllerTest, AnUnknownDiscIsRippedWithoutMetadataKeepingItsDiscID)
{
    insertDisc(2);
    BlockingWait::wait(controller.start(sheet, library));
    ASSERT_TRUE(std::get<RipStates::LookupFailed>(controller.state()).discUnknown);

    BlockingWait::wait(controller.ripWithoutMetadata(sheet, library));
    ASSERT_TRUE(std::holds_alternative<RipStates::Ready>(controller.state()));
    EXPECT_TRUE(ready().unnamed);
    BlockingWait::wait(controller.startRip(sheet, library, std::nullopt, false));
    ASSERT_TRUE(std::holds_alternative<RipStates::Finished>(controller.state()));
    EXPECT_EQ(countDone(finished().tracks), 2);
    EXPECT_EQ(controller.pendingEjectBSDName(), sheet);
    ASSERT_EQ(library.tracks().size(), 2);
    const Track& first = library.tracks().at(0);
    EXPECT_EQ(first.artist, u"Unknown Artist"_s);
    EXPECT_EQ(first.album, u"Unknown Album ("_s + toc.discID.left(8) + u')');
    EXPECT_EQ(first.title, u"Track 1"_s);
    EXPECT_EQ(first.releaseMBID, std::nullopt);
    EXPECT_EQ(first.customTags.value(Track::discIDTag()), toc.discID);
    EXPECT_TRUE(QFileInfo::exists(first.path()));
}
