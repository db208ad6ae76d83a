#include "DeviceTestSupport.h"

#include "devices/DeviceDisplay.h"
#include "library/BlockingWait.h"
#include "sync/VelmoDeviceFile.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class DeviceSyncControllerTest : public ::testing::Test, protected DeviceFixture {
protected:
    void SetUp() override { openLibrary(); }

    // Every state the controller passes through, from now on.
    void record(DeviceSyncController& controller)
    {
        QObject::connect(&controller, &DeviceSyncController::stateChanged, &controller,
                         [this, &controller] { seen.append(controller.state()); });
    }

    const SyncDiff& readyDiff(const DeviceSyncController& controller)
    {
        static const SyncDiff none;
        const auto* ready = std::get_if<SyncStates::Ready>(&controller.state());
        return ready ? ready->diff : none;
    }

    QList<SyncStates::Syncing> syncingStates() const
    {
        QList<SyncStates::Syncing> result;
        for (const SyncControllerState& state : seen) {
            if (const auto* syncing = std::get_if<SyncStates::Syncing>(&state))
                result.append(*syncing);
        }
        return result;
    }

    QList<SyncControllerState> seen;
};

} // namespace

TEST_F(DeviceSyncControllerTest, TheDiffOnShowIsRunWithProgressAndEndsInFinished)
{
    addTrack(u"One"_s);
    addTrack(u"Two"_s);
    const QString root = device(u"WALKMAN"_s);
    writeFile(root + u"/old.mp3"_s, "stale");
    const DeviceProfile profile = addProfile(u"Walkman"_s, root);
    DeviceSyncController controller(*library);

    controller.computeDiff(profile);
    EXPECT_TRUE(std::holds_alternative<SyncStates::ComputingDiff>(controller.state()));
    EXPECT_EQ(controller.lastProfileID(), profile.id);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    EXPECT_EQ(readyDiff(controller).toAdd.size(), 2);
    EXPECT_EQ(readyDiff(controller).toRemove.size(), 1);

    // A track added after the diff was shown is not part of this run.
    addTrack(u"Three"_s);
    record(controller);
    controller.startSync(profile);
    EXPECT_EQ(controller.currentProfileID(), profile.id);
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(controller));
    EXPECT_EQ(std::get<SyncStates::Finished>(controller.state()), (SyncStates::Finished{2, 1}));
    EXPECT_FALSE(controller.currentProfileID());
    EXPECT_FALSE(controller.progressFraction());

    const QList<SyncStates::Syncing> runs = syncingStates();
    ASSERT_FALSE(runs.isEmpty());
    // Removals first, then adds; the shown total counts the items until the engine reports.
    const SyncStates::Syncing& first = runs.constFirst();
    EXPECT_EQ(first.progress, (SyncEngine::Progress{3, 0, QString()}));
    ASSERT_EQ(first.items.size(), 3);
    EXPECT_EQ(first.items.at(0).name, u"old.mp3"_s);
    EXPECT_TRUE(first.items.at(0).isRemoval);
    EXPECT_EQ(first.items.at(1).name, u"One"_s);
    EXPECT_FALSE(first.items.at(2).isRemoval || first.items.at(2).isDone);
    for (const SyncStates::Syncing& syncing : runs) {
        for (qsizetype i = 0; i < syncing.items.size(); ++i)
            EXPECT_EQ(syncing.items.at(i).isDone, i < std::min<qsizetype>(syncing.progress.completed, 3));
    }
    EXPECT_TRUE(std::ranges::any_of(runs, [](const SyncStates::Syncing& s) { return s.progress.currentItem == u"Two"; }));

    EXPECT_TRUE(exists(root + u"/Music/Band/Record/One.mp3"_s));
    EXPECT_TRUE(exists(root + u"/Music/Band/Record/Two.mp3"_s));
    EXPECT_FALSE(exists(root + u"/Music/Band/Record/Three.mp3"_s));
    EXPECT_FALSE(exists(root + u"/old.mp3"_s));
}

TEST_F(DeviceSyncControllerTest, AResultForAProfileNoLongerAskedForIsDropped)
{
    addTrack(u"One"_s);
    const DeviceProfile first = addProfile(u"First"_s, device(u"FIRST"_s));
    const QString secondRoot = device(u"SECOND"_s);
    writeFile(secondRoot + u"/stray.flac"_s, "x");
    const DeviceProfile second = addProfile(u"Second"_s, secondRoot);
    DeviceSyncController controller(*library);

    QCoro::Task<> older = controller.computeDiff(first);
    controller.reset();
    EXPECT_FALSE(controller.lastProfileID());
    BlockingWait::wait(std::move(older));
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(controller.state()));

    older = controller.computeDiff(first);
    controller.reset();
    controller.computeDiff(second);
    BlockingWait::wait(std::move(older));
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    EXPECT_EQ(readyDiff(controller).toRemove, QList{QUrl::fromLocalFile(secondRoot + u"/stray.flac"_s)});
}

TEST_F(DeviceSyncControllerTest, SyncOutsideReadyAndADiffWhileOneIsComputedDoNothing)
{
    addTrack(u"One"_s);
    const QString root = device(u"WALKMAN"_s);
    const DeviceProfile profile = addProfile(u"Walkman"_s, root);
    const DeviceProfile other = addProfile(u"Other"_s, device(u"OTHER"_s));
    DeviceSyncController controller(*library);

    BlockingWait::wait(controller.startSync(profile));
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(controller.state()));
    EXPECT_FALSE(controller.currentProfileID());

    controller.computeDiff(profile);
    controller.computeDiff(other);
    EXPECT_EQ(controller.lastProfileID(), profile.id);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    EXPECT_EQ(readyDiff(controller).toAdd.constFirst().destinationURL.toLocalFile(), root + u"/Music/Band/Record/One.mp3"_s);
    EXPECT_FALSE(exists(root + u"/Music"_s));
}

TEST_F(DeviceSyncControllerTest, ASecondSyncWhileOneRunsIsRefusedAndTheFirstGoesOn)
{
    for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s})
        addTrack(title);
    const QString firstRoot = device(u"FIRST"_s);
    const QString secondRoot = device(u"SECOND"_s);
    const DeviceProfile first = addProfile(u"First"_s, firstRoot);
    const DeviceProfile second = addProfile(u"Second"_s, secondRoot);
    DeviceSyncController running(*library);
    DeviceSyncController refused(*library);
    running.computeDiff(first);
    refused.computeDiff(second);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(running));
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(refused));

    running.startSync(first);
    ASSERT_TRUE(std::holds_alternative<SyncStates::Syncing>(running.state()));
    BlockingWait::wait(refused.startSync(second));
    ASSERT_TRUE(std::holds_alternative<SyncStates::Failed>(refused.state()));
    EXPECT_FALSE(std::get<SyncStates::Failed>(refused.state()).message.isEmpty());
    EXPECT_FALSE(refused.currentProfileID());

    ASSERT_TRUE(waitUntil<SyncStates::Finished>(running));
    EXPECT_EQ(std::get<SyncStates::Finished>(running.state()), (SyncStates::Finished{3, 0}));
    EXPECT_TRUE(exists(firstRoot + u"/Music/Band/Record/Three.mp3"_s));
    EXPECT_FALSE(exists(secondRoot + u"/Music"_s));
}

TEST_F(DeviceSyncControllerTest, AFailedRunIsToldAndRetriedFromAFreshDiff)
{
    addTrack(u"One"_s);
    const QString root = device(u"WALKMAN"_s);
    // A file where the music folder should go: no folder can be made for the first add.
    writeFile(root + u"/Music"_s, "in the way");
    const DeviceProfile profile = addProfile(u"Walkman"_s, root);
    DeviceSyncController controller(*library);
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));

    BlockingWait::wait(controller.startSync(profile));
    ASSERT_TRUE(std::holds_alternative<SyncStates::Failed>(controller.state()));
    EXPECT_FALSE(std::get<SyncStates::Failed>(controller.state()).message.isEmpty());
    EXPECT_FALSE(controller.currentProfileID());
    EXPECT_FALSE(controller.runningProfileID());

    ASSERT_TRUE(QFile::remove(root + u"/Music"_s));
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    BlockingWait::wait(controller.startSync(profile));
    EXPECT_EQ(controller.state(), SyncControllerState(SyncStates::Finished{1, 0}));
    EXPECT_TRUE(exists(root + u"/Music/Band/Record/One.mp3"_s));
}

TEST_F(DeviceSyncControllerTest, AResetDuringARunDropsItsProgressButNotItsEnd)
{
    addTrack(u"One"_s);
    addTrack(u"Two"_s);
    const DeviceProfile profile = addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    DeviceSyncController controller(*library);
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));

    QCoro::Task<> run = controller.startSync(profile);
    controller.reset();
    EXPECT_FALSE(controller.currentProfileID());
    EXPECT_EQ(controller.runningProfileID(), profile.id);
    record(controller);
    BlockingWait::wait(std::move(run));
    // Nothing but the end was shown after the reset.
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen.constFirst(), SyncControllerState(SyncStates::Finished{2, 0}));
    EXPECT_FALSE(controller.runningProfileID());
}

TEST_F(DeviceSyncControllerTest, AnEmptyDiffStillRunsAndReadsUpToDate)
{
    const QString root = device(u"WALKMAN"_s);
    const DeviceProfile profile = addProfile(u"Walkman"_s, root);
    DeviceSyncController controller(*library);
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    record(controller);
    BlockingWait::wait(controller.startSync(profile));

    ASSERT_FALSE(syncingStates().isEmpty());
    EXPECT_EQ(syncingStates().constFirst().progress, (SyncEngine::Progress{1, 0, QString()}));
    EXPECT_EQ(controller.state(), SyncControllerState(SyncStates::Finished{0, 0}));
    EXPECT_EQ(DeviceDisplay::finishedText(0, 0), u"Up to date"_s);
    EXPECT_EQ(VelmoDeviceFile::read(root), VelmoDeviceFile{profile.id});
}

namespace {

class PodcastHalfTest : public DeviceSyncControllerTest {
protected:
    void SetUp() override
    {
        const QString file = stores.folder() + u"/Music/Podcasts/Science Weekly/atoms.mp3"_s;
        writeFile(file, "an episode");
        podcast = {.id = QUuid::createUuid(), .title = u"Science Weekly"_s,
                   .feedURL = QUrl(u"http://127.0.0.1:9/feed.xml"_s)};
        episode = {.id = QUuid::createUuid(), .podcastID = podcast.id, .title = u"Atoms"_s,
                   .remoteURL = QUrl(u"http://127.0.0.1:9/atoms.mp3"_s), .localURL = QUrl::fromLocalFile(file),
                   .downloadState = DownloadState::downloaded};
        openLibrary({podcast}, {episode});
        addTrack(u"One"_s);
    }

    Podcast podcast;
    Episode episode;
};

} // namespace

TEST_F(PodcastHalfTest, EpisodesFollowTheMusicAndCountAmongTheItems)
{
    const QString root = device(u"WALKMAN"_s);
    const DeviceProfile profile = addProfile(u"Walkman"_s, root, [](DeviceProfile& p) { p.syncPodcasts = true; });
    DeviceSyncController controller(*library);
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    ASSERT_TRUE(readyDiff(controller).podcastChanges);
    EXPECT_EQ(readyDiff(controller).podcastChanges->toAdd.size(), 1);

    record(controller);
    BlockingWait::wait(controller.startSync(profile));
    EXPECT_EQ(controller.state(), SyncControllerState(SyncStates::Finished{2, 0}));
    const QList<SyncStates::Syncing> runs = syncingStates();
    ASSERT_FALSE(runs.isEmpty());
    EXPECT_EQ(runs.constFirst().items.constLast().name, u"Atoms"_s);
    const auto podcastStep = std::ranges::find(runs, u"Syncing podcasts…"_s,
                                               [](const SyncStates::Syncing& s) { return s.progress.currentItem; });
    ASSERT_NE(podcastStep, runs.cend());
    EXPECT_EQ(podcastStep->progress.total, 2);
    EXPECT_EQ(podcastStep->progress.completed, 1);
    EXPECT_TRUE(podcastStep->items.at(0).isDone);
    EXPECT_FALSE(podcastStep->items.at(1).isDone);
    EXPECT_EQ(runs.constLast().progress, (SyncEngine::Progress{2, 2, QString()}));
    EXPECT_TRUE(exists(root + u"/Podcasts/Science Weekly/atoms.mp3"_s));
}

TEST_F(PodcastHalfTest, AFailedPodcastStepEndsInFailedWithTheMusicInPlace)
{
    const QString root = device(u"WALKMAN"_s);
    writeFile(root + u"/Podcasts"_s, "in the way");
    const DeviceProfile profile = addProfile(u"Walkman"_s, root, [](DeviceProfile& p) { p.syncPodcasts = true; });
    DeviceSyncController controller(*library);
    controller.computeDiff(profile);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(controller));
    BlockingWait::wait(controller.startSync(profile));

    ASSERT_TRUE(std::holds_alternative<SyncStates::Failed>(controller.state()));
    EXPECT_FALSE(std::get<SyncStates::Failed>(controller.state()).message.isEmpty());
    EXPECT_TRUE(exists(root + u"/Music/Band/Record/One.mp3"_s));
}
