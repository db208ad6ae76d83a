#include "DeviceTestSupport.h"

#include "app/ContentView.h"
#include "app/SidebarView.h"
#include "devices/DeviceDetailView.h"
#include "devices/DeviceProfileEditorSheet.h"
#include "devices/DeviceSyncView.h"
#include "sync/VolumeMonitor.h"
#include "widgets/PlaceholderView.h"

#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class DeviceNavigationTest : public ::testing::Test, protected DeviceFixture {
protected:
    void SetUp() override
    {
        openLibrary();
        content = std::make_unique<ContentView>(*library);
    }

    void select(SidebarItem::Kind kind) { content->setSidebarSelection(SidebarItem{kind, {}}); }

    QString detailTitle() const
    {
        const auto* placeholder = qobject_cast<PlaceholderView*>(content->detailColumn());
        return placeholder ? placeholder->title() : QString();
    }

    std::unique_ptr<ContentView> content;
};

} // namespace

TEST_F(DeviceNavigationTest, ASelectedDeviceShowsItsDetailUntilItsProfileIsDeleted)
{
    const DeviceProfile walkman = addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    select(SidebarItem::Kind::devices);
    EXPECT_EQ(content->contentColumn(), content->devicesView());
    EXPECT_EQ(detailTitle(), u"No Device Selected"_s);

    content->setSelectedDeviceID(walkman.id);
    const auto* detail = qobject_cast<DeviceDetailView*>(content->detailColumn());
    ASSERT_TRUE(detail);
    EXPECT_EQ(detail->title(), u"Walkman"_s);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(content->syncController()));

    library->deleteDeviceProfile(walkman.id);
    EXPECT_FALSE(content->selectedDeviceID());
    EXPECT_EQ(detailTitle(), u"No Device Selected"_s);
}

TEST_F(DeviceNavigationTest, LeavingDevicesDropsTheDiffButTheRunGoesOnWithItsMarkOnTheSidebar)
{
    addTrack(u"One"_s);
    addTrack(u"Two"_s);
    const DeviceProfile walkman = addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    select(SidebarItem::Kind::devices);
    content->setSelectedDeviceID(walkman.id);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(content->syncController()));
    select(SidebarItem::Kind::music);
    EXPECT_TRUE(std::holds_alternative<SyncStates::Idle>(content->syncController().state()));
    EXPECT_FALSE(content->sidebar()->progress(SidebarItem{SidebarItem::Kind::devices, {}}));

    select(SidebarItem::Kind::devices);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(content->syncController()));
    std::optional<double> markSeenElsewhere;
    QObject::connect(&content->syncController(), &DeviceSyncController::stateChanged, content.get(), [&] {
        const std::optional<double> mark = content->sidebar()->progress(SidebarItem{SidebarItem::Kind::devices, {}});
        if (content->sidebarSelection()->kind == SidebarItem::Kind::music && mark)
            markSeenElsewhere = std::max(mark.value(), markSeenElsewhere.value_or(0.0));
    });
    content->syncController().startSync(walkman);
    EXPECT_EQ(content->sidebar()->progress(SidebarItem{SidebarItem::Kind::devices, {}}), 0.0);
    select(SidebarItem::Kind::music);
    EXPECT_TRUE(std::holds_alternative<SyncStates::Syncing>(content->syncController().state()));
    EXPECT_TRUE(content->sidebar()->progress(SidebarItem{SidebarItem::Kind::devices, {}}));

    ASSERT_TRUE(waitUntil<SyncStates::Finished>(content->syncController()));
    ASSERT_TRUE(markSeenElsewhere);
    EXPECT_GT(*markSeenElsewhere, 0.0);
    EXPECT_FALSE(content->sidebar()->progress(SidebarItem{SidebarItem::Kind::devices, {}}));
}

TEST_F(DeviceNavigationTest, ADeviceAddedInTheEditorIsSelected)
{
    VolumeMonitor volumes(std::make_unique<ListedVolumes>(QList<VolumeSource::Volume>{
        {u"STICK"_s, device(u"STICK"_s), true, u"vfat"_s}}));
    content->setVolumeMonitor(&volumes);
    select(SidebarItem::Kind::devices);
    emit content->devicesView()->addRequested();
    DeviceProfileEditorSheet* editor = content->deviceEditor();
    ASSERT_TRUE(editor);
    editor->volumePicker()->setCurrentIndex(1);
    editor->confirmButton()->click();

    ASSERT_EQ(library->deviceProfiles().size(), 1);
    EXPECT_EQ(content->selectedDeviceID(), library->deviceProfiles().constFirst().id);
    EXPECT_EQ(content->devicesView()->listTexts(), QStringList{u"STICK\tConnected"_s});
    ASSERT_TRUE(qobject_cast<DeviceDetailView*>(content->detailColumn()));
}

TEST_F(DeviceNavigationTest, AFolderBecomesADeviceThatShowsItsChangesAndSyncs)
{
    addTrack(u"One"_s);
    const QString root = device(u"folder"_s);
    content->setFolderPicker([root](QWidget*, const FolderPickerRequest&) { return std::optional(root); });
    select(SidebarItem::Kind::devices);
    emit content->devicesView()->addRequested();
    DeviceProfileEditorSheet* editor = content->deviceEditor();
    ASSERT_TRUE(editor);
    editor->nameField()->setText(u"Trial"_s);
    editor->chooseFolderButton()->click();
    editor->confirmButton()->click();

    auto* detail = qobject_cast<DeviceDetailView*>(content->detailColumn());
    ASSERT_TRUE(detail);
    EXPECT_EQ(detail->profile().rootPath, root);
    ASSERT_TRUE(waitUntil<SyncStates::Ready>(content->syncController()));
    detail->syncNowButton()->click();
    ASSERT_TRUE(waitUntil<SyncStates::Finished>(content->syncController()));
    EXPECT_TRUE(exists(root + u"/Music/Band/Record/One.mp3"_s));
    EXPECT_EQ(content->devicesView()->listTexts(), QStringList{u"Trial\tConnected"_s});
}
