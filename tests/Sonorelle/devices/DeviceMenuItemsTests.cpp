#include "DeviceTestSupport.h"

#include "devices/DeviceMenuItems.h"

#include <QMenu>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class DeviceMenuItemsTest : public ::testing::Test, protected DeviceFixture {
protected:
    void SetUp() override
    {
        openLibrary();
        one = addTrack(u"One"_s);
        two = addTrack(u"Two"_s);
    }

    DeviceProfile chosenContent(const QString& name, const QList<QUuid>& tracks = {})
    {
        return addProfile(name, device(name), [&](DeviceProfile& p) {
            p.syncScope = SyncScope::selectedPlaylists;
            p.manualTrackIDs = tracks;
        });
    }

    // The entries, a submenu as "title: entry, entry", a divider as "-".
    QStringList entries(const QList<QUuid>& trackIDs)
    {
        menu = std::make_unique<QMenu>();
        DeviceMenuItems::addTo(*menu, *library, trackIDs);
        QStringList texts;
        for (const QAction* action : menu->actions()) {
            if (action->isSeparator()) {
                texts.append(u"-"_s);
            } else if (action->menu()) {
                QStringList inner;
                for (const QAction* entry : action->menu()->actions())
                    inner.append(entry->text());
                texts.append(action->text() + u": "_s + inner.join(u", "_s));
            } else {
                texts.append(action->text());
            }
        }
        return texts;
    }

    void trigger(const QString& text)
    {
        for (QAction* action : menu->actions()) {
            const QList<QAction*> inner = action->menu() ? action->menu()->actions() : QList<QAction*>{action};
            for (QAction* entry : inner) {
                if (entry->text() == text)
                    entry->trigger();
            }
        }
    }

    std::unique_ptr<QMenu> menu;
    Track one;
    Track two;
};

} // namespace

TEST_F(DeviceMenuItemsTest, DevicesThatTakeTheWholeLibraryAreNotOffered)
{
    addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    EXPECT_TRUE(entries({one.id}).isEmpty());
}

TEST_F(DeviceMenuItemsTest, OneDeviceOffersAddWhileSomeAreMissingAndRemoveWhileSomeAreOn)
{
    const DeviceProfile car = chosenContent(u"Car"_s);
    EXPECT_EQ(entries({one.id, two.id}), (QStringList{u"-"_s, u"Add to Car"_s}));
    trigger(u"Add to Car"_s);
    EXPECT_EQ(library->deviceProfiles().constFirst().manualTrackIDs, (QList{one.id, two.id}));
    EXPECT_EQ(entries({one.id, two.id}), (QStringList{u"-"_s, u"Remove from Car"_s}));

    library->removeTracksFromDevice({two.id}, car.id);
    EXPECT_EQ(entries({one.id, two.id}), (QStringList{u"-"_s, u"Add to Car"_s, u"Remove from Car"_s}));
    trigger(u"Remove from Car"_s);
    EXPECT_TRUE(library->deviceProfiles().constFirst().manualTrackIDs.isEmpty());
}

TEST_F(DeviceMenuItemsTest, SeveralDevicesGetASubmenuEachWithTheDevicesThatApply)
{
    chosenContent(u"Car"_s, {one.id});
    chosenContent(u"Stick"_s, {one.id, two.id});
    addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    EXPECT_EQ(entries({one.id, two.id}),
              (QStringList{u"-"_s, u"Add to Device: Car"_s, u"Remove from Device: Car, Stick"_s}));
    EXPECT_EQ(entries({one.id}), (QStringList{u"-"_s, u"Remove from Device: Car, Stick"_s}));

    trigger(u"Stick"_s);
    EXPECT_EQ(library->deviceProfiles().at(1).manualTrackIDs, QList{two.id});
}

TEST_F(DeviceMenuItemsTest, APlaylistRowPutsTheListOnAndOffEachDevice)
{
    const Playlist road = library->createPlaylist(u"Road"_s);
    const SmartPlaylist recent = library->createSmartPlaylist(u"Recent"_s);
    const auto rowEntries = [this](const QUuid& id, bool isSmart) {
        menu = std::make_unique<QMenu>();
        DeviceMenuItems::addPlaylistEntries(*menu, *library, id, isSmart);
        QStringList texts;
        for (const QAction* action : menu->actions())
            texts.append(action->isSeparator() ? u"-"_s : action->text());
        return texts;
    };
    addProfile(u"Walkman"_s, device(u"WALKMAN"_s));
    EXPECT_TRUE(rowEntries(road.id, false).isEmpty());

    chosenContent(u"Car"_s);
    EXPECT_EQ(rowEntries(road.id, false), (QStringList{u"Add to Car"_s, u"-"_s}));
    trigger(u"Add to Car"_s);
    EXPECT_EQ(library->deviceProfiles().at(1).playlistIDs, QList{road.id});
    EXPECT_EQ(rowEntries(road.id, false), (QStringList{u"Remove from Car"_s, u"-"_s}));
    // A smart playlist is counted apart from the regular ones.
    EXPECT_EQ(rowEntries(recent.id, true), (QStringList{u"Add to Car"_s, u"-"_s}));

    chosenContent(u"Stick"_s);
    menu = std::make_unique<QMenu>();
    DeviceMenuItems::addPlaylistEntries(*menu, *library, road.id, false);
    ASSERT_TRUE(menu->actions().constFirst()->menu());
    EXPECT_EQ(menu->actions().constFirst()->text(), u"Add to Device"_s);
    trigger(u"Remove from Car"_s);
    trigger(u"Add to Stick"_s);
    EXPECT_TRUE(library->deviceProfiles().at(1).playlistIDs.isEmpty());
    EXPECT_EQ(library->deviceProfiles().at(2).playlistIDs, QList{road.id});
}
