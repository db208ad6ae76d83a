#include "app/AppCoordinator.h"
#include "app/ContentView.h"
#include "app/MainWindow.h"
#include "app/SidebarView.h"
#include "facade/Library.h"
#include "library/Settings.h"
#include "music/AlbumsView.h"
#include "music/MusicView.h"
#include "music/SongsView.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"

#include <QApplication>
#include <QLineEdit>
#include <QListView>
#include <QTableView>
#include <QTest>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The whole window, shown and active, as a user at the keyboard meets it.
class KeyboardTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        Settings::setValue(Settings::isOnboarded, true);
        Settings::setLibraryRootPath(stores.folder() + u"/Music"_s);
        coordinator = std::make_unique<AppCoordinator>();
        Library& library = *coordinator->library();
        library.add(makeTrack(u"One"_s, u"Band"_s, u"Record"_s));
        library.add(makeTrack(u"Two"_s, u"Band"_s, u"Record"_s));
        library.add(makeTrack(u"Three"_s, u"Other"_s, u"Single"_s));
        window = std::make_unique<MainWindow>(*coordinator);
        window->show();
        window->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(window.get()));
        content()->musicView()->refreshNow();
    }

    void TearDown() override
    {
        window.reset();
        coordinator.reset();
        TestEnvironment::clearSettings();
    }

    ContentView* content() const { return window->contentView(); }
    MusicView* music() const { return content()->musicView(); }

    // Keys go where the user's would: to the widget that has the focus.
    static void press(int key, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWidget* target = QApplication::focusWidget();
        ASSERT_NE(target, nullptr) << "nothing has the focus";
        QTest::keyClick(target, Qt::Key(key), modifiers);
    }

    TemporaryStores stores;
    std::unique_ptr<AppCoordinator> coordinator;
    std::unique_ptr<MainWindow> window;
};

} // namespace

TEST_F(KeyboardTest, CtrlFFocusesTheSearchAndEscapeClearsItAndReturnsToTheList)
{
    content()->sidebar()->setFocus();
    press(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(QApplication::focusWidget(), music()->searchField());

    QTest::keyClicks(music()->searchField(), u"single"_s);
    EXPECT_EQ(music()->albumsView()->groups().size(), 1);
    press(Qt::Key_Escape);
    EXPECT_TRUE(music()->searchField()->text().isEmpty());
    EXPECT_EQ(music()->albumsView()->groups().size(), 2);
    EXPECT_EQ(QApplication::focusWidget(), music()->albumsView()->grid()) << "back to the list on screen";
    EXPECT_TRUE(music()->albumsView()->grid()->currentIndex().isValid()) << "arrows have a place to start";

    music()->setViewMode(MusicViewMode::songs);
    press(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(QApplication::focusWidget(), music()->searchField());
    QTest::keyClicks(music()->searchField(), u"two"_s);
    EXPECT_EQ(music()->searchField()->selectedText(), QString());
    press(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(music()->searchField()->selectedText(), u"two"_s) << "a second Ctrl+F selects the text to type over";
    press(Qt::Key_Escape);
    EXPECT_EQ(QApplication::focusWidget(), music()->songsView()->table());
    EXPECT_EQ(music()->songsView()->table()->model()->rowCount(), 3);
    EXPECT_TRUE(music()->songsView()->table()->selectionModel()->selectedRows().isEmpty())
        << "returning to the list chooses nothing";

    content()->setSidebarSelection(SidebarItem{SidebarItem::Kind::playlists, {}});
    content()->sidebar()->setFocus();
    QWidget* sidebarRows = QApplication::focusWidget();
    ASSERT_TRUE(content()->sidebar()->isAncestorOf(sidebarRows));
    press(Qt::Key_F, Qt::ControlModifier);
    EXPECT_EQ(QApplication::focusWidget(), sidebarRows) << "a screen without a search field keeps the focus";
}

TEST_F(KeyboardTest, TabLeavesTheSongsTableAndTheArrowsMoveWithinIt)
{
    music()->setViewMode(MusicViewMode::songs);
    QTableView* table = music()->songsView()->table();
    table->setFocus();
    table->setCurrentIndex(table->model()->index(0, 0));
    press(Qt::Key_Down);
    EXPECT_EQ(table->currentIndex().row(), 1);
    EXPECT_EQ(table->selectionModel()->selectedRows().size(), 1);
    press(Qt::Key_Right);
    EXPECT_EQ(table->currentIndex().row(), 1) << "sideways stays on the row";
    press(Qt::Key_Tab);
    EXPECT_NE(QApplication::focusWidget(), table) << "Tab goes on to the next control";
    EXPECT_FALSE(table->isAncestorOf(QApplication::focusWidget()));
    press(Qt::Key_Backtab, Qt::ShiftModifier);
    EXPECT_EQ(QApplication::focusWidget(), table) << "and Shift+Tab comes back";
    EXPECT_EQ(table->currentIndex().row(), 1);
}
