#include "DeviceTestSupport.h"

#include "devices/DeviceDetailView.h"
#include "devices/DeviceSyncBody.h"
#include "devices/DeviceSyncView.h"
#include "library/BlockingWait.h"
#include "sync/VolumeEjector.h"
#include "sync/VolumeMonitor.h"
#include "widgets/Icons.h"

#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The mark over the end page on show: its symbol and what a screen reader says of it.
std::pair<QString, QString> endMark(const DeviceDetailView& view)
{
    for (const QLabel* mark : view.body()->findChildren<QLabel*>(u"endMark"_s)) {
        if (mark->isVisibleTo(view.body()))
            return {mark->property("symbol").toString(), mark->accessibleName()};
    }
    return {};
}

void trigger(QMenu& menu, const QString& text)
{
    for (QAction* action : menu.actions()) {
        if (action->text() == text)
            action->trigger();
    }
}

// Pictures for docs/screenshots, only when asked for; with the icon theme the window uses.
bool screenshotsWanted()
{
    const bool wanted = !qEnvironmentVariable("SONORELLE_SCREENSHOTS").isEmpty();
    if (wanted)
        Icons::chooseTheme();
    return wanted;
}

void saveScreenshot(QWidget& widget, const QString& name)
{
    if (screenshotsWanted())
        widget.grab().save(qEnvironmentVariable("SONORELLE_SCREENSHOTS") + u'/' + name);
}

class DeviceScreensTest : public ::testing::Test, protected DeviceFixture {
protected:
    void SetUp() override
    {
        openLibrary();
        controller = std::make_unique<DeviceSyncController>(*library);
    }

    std::unique_ptr<DeviceDetailView> detailFor(const DeviceProfile& profile, VolumeMonitor* volumes = nullptr)
    {
        auto view = std::make_unique<DeviceDetailView>(*library, *controller, volumes, profile, ejector);
        view->resize(560, 620);
        view->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(view.get()));
        return view;
    }

    std::unique_ptr<DeviceSyncController> controller;
    QStringList ejected;
    std::optional<VolumeEjector::EjectError> ejectRefusal;
    DeviceDetailView::Ejector ejector = [this](QString rootPath, QString) -> QCoro::Task<> {
        ejected.append(rootPath);
        if (ejectRefusal)
            throw *ejectRefusal;
        co_return;
    };
};

} // namespace

TEST_F(DeviceScreensTest, TheListTellsEachDeviceSyncingConnectedOrNot)
{
    DeviceSyncView view(*library, *controller);
    EXPECT_EQ(view.listTexts(), QStringList{u"No devices yet"_s});

    addTrack(u"One"_s);
    const DeviceProfile walkman = addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    addProfile(u"Car"_s, devices.filePath(u"CAR"_s));
    EXPECT_EQ(view.listTexts(), (QStringList{u"Walkman\tConnected"_s, u"Car\tNot connected"_s}));

    controller->computeDiff(walkman);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    controller->startSync(walkman);
    EXPECT_EQ(view.listTexts(), (QStringList{u"Walkman\tSyncing"_s, u"Car\tNot connected"_s}));
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(*controller));
    EXPECT_EQ(view.listTexts().constFirst(), u"Walkman\tConnected"_s);
}

TEST_F(DeviceScreensTest, ChoosingAnotherDeviceResetsUnlessItIsTheOneSyncing)
{
    addTrack(u"One"_s);
    const DeviceProfile walkman = addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    const DeviceProfile car = addProfile(u"Car"_s, device(u"CAR"_s));
    DeviceSyncView view(*library, *controller);
    view.setSelectedDeviceID(walkman.id);
    controller->computeDiff(walkman);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    controller->startSync(walkman);

    view.setSelectedDeviceID(walkman.id);
    EXPECT_TRUE(std::holds_alternative<SyncStates::Syncing>(controller->state()));
    view.list()->setCurrentRow(1);
    EXPECT_EQ(view.selectedDeviceID(), car.id);
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(controller->state()));
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(*controller));

    QMenu menu;
    view.fillRowMenu(menu, car.id);
    trigger(menu, u"Delete"_s);
    EXPECT_FALSE(view.selectedDeviceID());
    EXPECT_EQ(view.listTexts(), QStringList{u"Walkman\tConnected"_s});
}

TEST_F(DeviceScreensTest, ADeviceNotConnectedAsksToBeConnected)
{
    const DeviceProfile car = addProfile(u"Car"_s, devices.filePath(u"CAR"_s), [](DeviceProfile& p) {
        p.syncScope = SyncScope::selectedPlaylists;
        p.outputFormat = OutputFormat::aac;
        p.transcodeBitrate = 256;
        p.folderStructure = FolderStructure::flat;
    });
    const auto view = detailFor(car);
    EXPECT_EQ(view->title(), u"Car"_s);
    EXPECT_EQ(view->status(), u"Not connected"_s);
    EXPECT_EQ(view->caption(), u"No content selected  ·  AAC · 256 kbps  ·  Flat"_s);
    EXPECT_EQ(view->connectHint(), u"Connect device to compute changes."_s);
    EXPECT_EQ(view->body()->texts(), (QStringList{u"Connect Car"_s, u"Connect the device to compute changes."_s}));
    EXPECT_FALSE(view->syncNowButton()->isVisibleTo(view.get()));
    EXPECT_FALSE(view->ejectButton()->isEnabled());
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(controller->state()));
}

TEST_F(DeviceScreensTest, AConnectedDeviceShowsItsCountsAndTheChangesOnRequest)
{
    addTrack(u"One"_s);
    Track nameless = addTrack(u"nameless"_s, u"Nameless"_s);
    nameless.title.clear();
    library->remove(nameless.id);
    library->add(nameless);
    const QString root = device(u"WALKMAN"_s);
    writeFile(root + u"/old.mp3"_s, "stale");
    const DeviceProfile walkman = addProfile(u"Walkman"_s, root, [](DeviceProfile& p) {
        p.outputFormat = OutputFormat::mp3;
        p.transcodeBitrate = 192;
    });
    // Looked at before any event is handled, while the diff is still being computed.
    const auto view = std::make_unique<DeviceDetailView>(*library, *controller, nullptr, walkman, ejector);
    EXPECT_EQ(view->status(), u"Connected"_s);
    EXPECT_EQ(view->connectHint(), QString());
    EXPECT_EQ(view->caption(), u"Full Library  ·  MP3 · 192 kbps  ·  Artist/Album/Track"_s);
    EXPECT_EQ(view->body()->texts(), QStringList{u"Computing changes…"_s});
    view->show();

    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    EXPECT_EQ(view->body()->texts(), (QStringList{u"2 to add"_s, u"1 to remove"_s, u"0 unchanged"_s}));
    const QList<QLabel*> labels = view->body()->findChildren<QLabel*>();
    const auto added = std::ranges::find(labels, u"2 to add"_s, &QLabel::text);
    ASSERT_NE(added, labels.cend());
    EXPECT_EQ((*added)->palette().color(QPalette::WindowText), QColor(0x2e, 0x7d, 0x32));
    EXPECT_TRUE(view->syncNowButton()->isVisibleTo(view.get()));
    EXPECT_EQ(view->syncNowButton()->shortcut(), QKeySequence(Qt::CTRL | Qt::Key_Return));
    EXPECT_TRUE(view->ejectButton()->isEnabled());

    EXPECT_EQ(view->body()->changesToggle()->text(), u"Show changes"_s);
    EXPECT_TRUE(view->body()->changeRows().isEmpty());
    view->body()->changesToggle()->click();
    EXPECT_EQ(view->body()->changesToggle()->text(), u"Hide changes"_s);
    // A track without a title shows the name of its file on the device.
    EXPECT_EQ(view->body()->changeRows(),
              (QStringList{u"Music to Add (2)"_s, u"plus.circle\tOne  —  Will transcode to MP3 192 kbps"_s,
                           u"plus.circle\tnameless.mp3  —  Will transcode to MP3 192 kbps"_s, u"Music to Remove (1)"_s,
                           u"minus.circle\told.mp3"_s}));
    view->body()->changesToggle()->click();
    EXPECT_TRUE(view->body()->changeRows().isEmpty());
}

TEST_F(DeviceScreensTest, ARunShowsItsProgressAndItemsThenWhatItDid)
{
    screenshotsWanted();
    for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s})
        addTrack(title);
    const QString root = device(u"WALKMAN"_s);
    writeFile(root + u"/old.flac"_s, "stale");
    const DeviceProfile walkman = addProfile(u"Walkman"_s, root);
    const auto view = detailFor(walkman);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    view->body()->changesToggle()->click();
    saveScreenshot(*view, u"device-ready.png"_s);

    QStringList midRun;
    QStringList midRunItems;
    QStringList midRunSpoken;
    QObject::connect(controller.get(), &DeviceSyncController::stateChanged, view.get(), [&] {
        const auto* syncing = std::get_if<SyncStates::Syncing>(&controller->state());
        if (syncing && syncing->progress.completed == 2 && midRun.isEmpty()) {
            midRun = view->body()->texts();
            midRunItems = view->body()->itemRows();
            for (const QListWidget* list : view->body()->findChildren<QListWidget*>()) {
                for (int i = 0; list->count() == 4 && i < list->count(); ++i)
                    midRunSpoken.append(list->item(i)->data(Qt::AccessibleTextRole).toString());
            }
            EXPECT_EQ(view->body()->progressBar()->value(), 2);
            EXPECT_EQ(view->body()->progressBar()->maximum(), 4);
            saveScreenshot(*view, u"device-syncing.png"_s);
        }
    });
    view->syncNowButton()->click();
    EXPECT_FALSE(view->syncNowButton()->isVisibleTo(view.get()));
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(*controller));

    EXPECT_EQ(midRun, (QStringList{u"Syncing 2 of 4…"_s, u"Two"_s}));
    EXPECT_EQ(midRunItems, (QStringList{u"checkmark.circle.fill\told.flac"_s, u"checkmark.circle.fill\tOne"_s,
                                        u"circle\tTwo"_s, u"circle\tThree"_s}));
    EXPECT_EQ(midRunSpoken, (QStringList{u"old.flac, done"_s, u"One, done"_s, u"Two, waiting"_s, u"Three, waiting"_s}));
    EXPECT_EQ(endMark(*view), (std::pair{u"checkmark.circle.fill"_s, u"Done"_s}));
    EXPECT_EQ(view->body()->texts(), QStringList{u"3 items added  ·  1 item removed"_s});
    ASSERT_TRUE(view->body()->againButton());
    EXPECT_EQ(view->body()->againButton()->text(), u"Sync Again"_s);
    view->body()->againButton()->click();
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    EXPECT_EQ(view->body()->texts(), (QStringList{u"0 to add"_s, u"0 to remove"_s, u"3 unchanged"_s}));
}

TEST_F(DeviceScreensTest, AFailedRunShowsItsSentenceAndRetryLooksAgain)
{
    addTrack(u"One"_s);
    const QString root = device(u"WALKMAN"_s);
    writeFile(root + u"/Music"_s, "in the way");
    const auto view = detailFor(addProfile(u"Walkman"_s, root));
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    view->syncNowButton()->click();
    ASSERT_TRUE(waitUntil<SyncStates::Failed>(*controller));

    const QString message = std::get<SyncStates::Failed>(controller->state()).message;
    EXPECT_EQ(view->body()->texts(), QStringList{u"Sync failed — "_s + message});
    EXPECT_EQ(endMark(*view), (std::pair{u"exclamationmark.circle.fill"_s, u"Failed"_s}));
    ASSERT_TRUE(view->body()->againButton());
    EXPECT_EQ(view->body()->againButton()->text(), u"Retry"_s);
    ASSERT_TRUE(QFile::remove(root + u"/Music"_s));
    view->body()->againButton()->click();
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));
    EXPECT_EQ(view->body()->texts().constFirst(), u"1 to add"_s);
}

TEST_F(DeviceScreensTest, VolumeEventsMakeTheDetailLookAgainButNeverDisturbARun)
{
    addTrack(u"One"_s);
    auto owned = std::make_unique<ListedVolumes>();
    ListedVolumes* source = owned.get();
    VolumeMonitor volumes(std::move(owned));
    volumes.start();
    const QString root = devices.filePath(u"WALKMAN"_s);
    const DeviceProfile walkman = addProfile(u"Walkman"_s, root);
    const auto view = detailFor(walkman, &volumes);
    EXPECT_EQ(view->status(), u"Not connected"_s);

    QDir().mkpath(root);
    emit source->appeared({u"WALKMAN"_s, root, true, u"vfat"_s});
    EXPECT_EQ(view->status(), u"Connected"_s);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));

    view->syncNowButton()->click();
    ASSERT_TRUE(std::holds_alternative<SyncStates::Syncing>(controller->state()));
    emit source->appeared({u"CARD"_s, devices.filePath(u"CARD"_s), true, u"vfat"_s});
    EXPECT_TRUE(std::holds_alternative<SyncStates::Syncing>(controller->state()));
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(*controller));

    // The finished screen gives way to a fresh look at the next event.
    emit source->disappeared(devices.filePath(u"CARD"_s));
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));

    ASSERT_TRUE(QDir(root).removeRecursively());
    emit source->disappeared(root);
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(controller->state()));
    EXPECT_EQ(view->body()->texts().constFirst(), u"Connect Walkman"_s);
}

TEST_F(DeviceScreensTest, IndividualTracksAreSortedByArtistAlbumAndNumberAndCanBeTakenOff)
{
    Track late = addTrack(u"Late"_s, u"Zed"_s);
    Track second = addTrack(u"Second"_s, u"Abba"_s);
    second.trackNumber = 2;
    library->remove(second.id);
    library->add(second);
    Track first = addTrack(u"First"_s, u"Abba"_s);
    first.trackNumber = 1;
    library->remove(first.id);
    library->add(first);
    const DeviceProfile car = addProfile(u"Car"_s, devices.filePath(u"CAR"_s), [&](DeviceProfile& p) {
        p.syncScope = SyncScope::selectedPlaylists;
        p.manualTrackIDs = {late.id, second.id, first.id};
    });
    const auto view = detailFor(car);
    EXPECT_EQ(view->individualTrackRows(),
              (QStringList{u"First\tAbba"_s, u"Second\tAbba"_s, u"Late\tZed"_s}));

    QMenu menu;
    view->fillTrackMenu(menu, second.id);
    trigger(menu, u"Remove from Device"_s);
    EXPECT_EQ(view->individualTrackRows(), (QStringList{u"First\tAbba"_s, u"Late\tZed"_s}));
    library->removeTracksFromDevice({first.id, late.id}, car.id);
    EXPECT_EQ(view->individualTrackRows(),
              QStringList{u"No tracks assigned — right-click tracks or albums in Music to add them."_s});

    const auto whole = detailFor(addProfile(u"Walkman"_s, devices.filePath(u"WALKMAN"_s)));
    EXPECT_TRUE(whole->individualTrackRows().isEmpty());
}

TEST_F(DeviceScreensTest, EjectAsksTheSystemTellsItsRefusalAndWaitsForARun)
{
    addTrack(u"One"_s);
    const QString root = device(u"WALKMAN"_s);
    const auto view = detailFor(addProfile(u"Walkman"_s, root));
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(*controller));

    ejectRefusal = VolumeEjector::EjectError(VolumeEjector::EjectError::Kind::busy, u"A file is open."_s);
    BlockingWait::wait(view->eject());
    EXPECT_EQ(ejected, QStringList{root});
    EXPECT_EQ(view->ejectMessage(), u"A file is open."_s);

    view->syncNowButton()->click();
    BlockingWait::wait(view->eject());
    EXPECT_EQ(ejected.size(), 1);
    EXPECT_EQ(view->ejectMessage(), u"“Walkman” is syncing. Wait until the sync has finished, then eject it."_s);
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(*controller));

    ejectRefusal.reset();
    BlockingWait::wait(view->eject());
    EXPECT_EQ(ejected.size(), 2);
    EXPECT_EQ(view->ejectMessage(), QString());
}
