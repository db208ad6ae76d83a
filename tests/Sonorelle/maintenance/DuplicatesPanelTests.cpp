#include "facade/Library.h"
#include "library/BlockingWait.h"
#include "library/Settings.h"
#include "maintenance/DuplicatesPanel.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "support/EncodedAudio.h"
#include "support/TestEnvironment.h"

#include <QFileInfo>
#include <QPushButton>
#include <QApplication>
#include <QTest>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// A library of one song in three formats and another song.
class DuplicatesPanelTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        TestEnvironment::clearSettings();
        const std::vector<float> song = EncodedAudio::music(11, 30.0);
        const QStringList files{
            EncodedAudio::write(song, root + u"/Song.flac"_s),
            EncodedAudio::write(song, root + u"/Song.mp3"_s, 160000),
            EncodedAudio::write(EncodedAudio::music(12, 30.0), root + u"/Other.flac"_s),
            EncodedAudio::write(song, root + u"/Song.ogg"_s, 112000),
        };
        for (const Track& track : Library::readTracks(files))
            library.add(track);
        ASSERT_EQ(library.tracks().size(), 4);
    }
    void TearDown() override { TestEnvironment::clearSettings(); }

    TemporaryStores stores;
    QString root = stores.folder() + u"/Music"_s;
    Library library{QUrl::fromLocalFile(root)};
    std::optional<ConfirmationRequest> asked;
    bool answer = false;
    Confirmation confirm = [this](QWidget*, const ConfirmationRequest& request) {
        asked = request;
        return answer;
    };
};

} // namespace

TEST_F(DuplicatesPanelTest, ShowsTheGroupWithEachTracksDetails)
{
    LibraryMaintenanceView view{library, confirm};
    DuplicatesPanel& panel = *view.duplicates();
    EXPECT_EQ(panel.thresholdPercent(), 90);
    BlockingWait::wait(panel.findDuplicates());
    EXPECT_FALSE(panel.isRunning());
    ASSERT_EQ(panel.groups().size(), 1);
    EXPECT_EQ(panel.status(), u"1 group of tracks that sound alike."_s);

    QTreeWidgetItem* group = panel.results()->topLevelItem(0);
    ASSERT_EQ(group->childCount(), 3);
    QStringList formats;
    for (int i = 0; i < group->childCount(); ++i) {
        QTreeWidgetItem* row = group->child(i);
        formats.append(row->text(3));
        EXPECT_TRUE(row->text(6).startsWith(root)) << "the path";
        EXPECT_EQ(row->text(5), u"0:30"_s) << "the length";
        EXPECT_NE(panel.results()->itemWidget(row, 7)->findChild<QPushButton*>(), nullptr);
    }
    EXPECT_EQ(formats, (QStringList{u"FLAC"_s, u"MP3"_s, u"OGG"_s}));
    EXPECT_TRUE(group->child(1)->text(4).endsWith(u" kbps"_s));

    std::optional<Track> shown;
    QObject::connect(&view, &LibraryMaintenanceView::showInSongs, [&shown](const Track& track) { shown = track; });
    panel.results()->itemWidget(group->child(2), 7)->findChild<QPushButton*>()->click();
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->id, panel.groups().first().at(2).id);
}

TEST_F(DuplicatesPanelTest, MovesToTheTrashOnlyAfterAConfirmationNamingTheFile)
{
    DuplicatesPanel panel{library, confirm};
    BlockingWait::wait(panel.findDuplicates());
    ASSERT_EQ(panel.groups().size(), 1);
    const Track mp3 = panel.groups().first().at(1);
    const Playlist playlist = library.createPlaylist(u"Mix"_s);
    library.addTrack(mp3.id, playlist.id);

    BlockingWait::wait(panel.moveToTrash(mp3.id));
    ASSERT_TRUE(asked);
    EXPECT_TRUE(asked->title.contains(u"Song.mp3"_s)) << qPrintable(asked->title);
    EXPECT_TRUE(asked->message.contains(mp3.path()));
    EXPECT_TRUE(QFileInfo::exists(mp3.path())) << "refused: nothing happens";
    EXPECT_EQ(library.tracks().size(), 4);

    answer = true;
    BlockingWait::wait(panel.moveToTrash(mp3.id));
    EXPECT_FALSE(QFileInfo::exists(mp3.path()));
    EXPECT_EQ(library.tracks().size(), 3);
    EXPECT_TRUE(library.playlists().first().trackIDs.isEmpty()) << "gone from its playlists too";
    ASSERT_EQ(panel.groups().size(), 1);
    EXPECT_EQ(panel.groups().first().size(), 2);

    answer = true;
    BlockingWait::wait(panel.moveToTrash(panel.groups().first().first().id));
    EXPECT_TRUE(panel.groups().isEmpty()) << "a group of one is no group";
}

TEST_F(DuplicatesPanelTest, RemembersTheThresholdAndCanBeCancelled)
{
    {
        DuplicatesPanel panel{library, confirm};
        panel.setThresholdPercent(97);
    }
    DuplicatesPanel panel{library, confirm};
    EXPECT_EQ(panel.thresholdPercent(), 97);
    EXPECT_EQ(Settings::value(Settings::duplicateThresholdPercent), 97);

    QCoro::Task<> search = panel.findDuplicates();
    EXPECT_TRUE(panel.isRunning());
    panel.cancel();
    BlockingWait::wait(std::move(search));
    EXPECT_EQ(panel.status(), u"Search cancelled."_s);
    EXPECT_TRUE(panel.groups().isEmpty());
}

TEST_F(DuplicatesPanelTest, AFileThatCannotBeListenedToIsListedWithTheReason)
{
    const QString damaged = EncodedAudio::write(EncodedAudio::music(13, 30.0), root + u"/Damaged.flac"_s);
    for (const Track& track : Library::readTracks({damaged}))
        library.add(track);
    EncodedAudio::damageMiddleFrame(damaged);
    DuplicatesPanel panel{library, confirm};
    BlockingWait::wait(panel.findDuplicates());
    ASSERT_EQ(panel.passedOver().size(), 1);
    EXPECT_EQ(panel.passedOver().first().track.path(), damaged);
    EXPECT_EQ(panel.status(), u"1 group of tracks that sound alike. 1 file passed over."_s);

    ASSERT_EQ(panel.results()->topLevelItemCount(), 2);
    QTreeWidgetItem* passed = panel.results()->topLevelItem(1);
    EXPECT_EQ(passed->text(0), u"Passed Over (1)"_s);
    ASSERT_EQ(passed->childCount(), 1);
    const QString reason = panel.passedOver().first().reason;
    EXPECT_FALSE(reason.isEmpty());
    EXPECT_EQ(passed->child(0)->text(0), damaged + u" — "_s + reason);
    EXPECT_EQ(passed->child(0)->data(0, Qt::AccessibleTextRole).toString(), damaged + u", passed over: "_s + reason);
    EXPECT_FALSE(passed->child(0)->icon(0).isNull());

    // A search that listens to every file lists none.
    ASSERT_TRUE(QFile::remove(damaged));
    EncodedAudio::write(EncodedAudio::music(13, 30.0), damaged);
    BlockingWait::wait(panel.findDuplicates());
    EXPECT_TRUE(panel.passedOver().isEmpty());
    EXPECT_EQ(panel.results()->topLevelItemCount(), 1);
}

TEST_F(DuplicatesPanelTest, TheKeyboardWalksTheRowsAndTabLeavesThemWithoutVisitingTheirButtons)
{
    DuplicatesPanel panel{library, confirm};
    panel.resize(900, 500);
    panel.show();
    panel.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&panel));
    BlockingWait::wait(panel.findDuplicates());
    ASSERT_EQ(panel.groups().size(), 1);
    QTreeWidget* results = panel.results();
    results->setFocus();
    results->setCurrentItem(results->topLevelItem(0));
    QTest::keyClick(results, Qt::Key_Down);
    EXPECT_EQ(results->currentItem(), results->topLevelItem(0)->child(0));
    QTest::keyClick(results, Qt::Key_Down);
    ASSERT_EQ(results->currentItem(), results->topLevelItem(0)->child(1));

    std::optional<Track> shown;
    QObject::connect(&panel, &DuplicatesPanel::showInSongs, [&shown](const Track& track) { shown = track; });
    QTest::keyClick(results, Qt::Key_Return);
    ASSERT_TRUE(shown) << "Return is the row's “Show in Songs”";
    EXPECT_EQ(shown->id, panel.groups().first().at(1).id);
    QTest::keyClick(results, Qt::Key_Delete);
    ASSERT_TRUE(asked) << "Delete is the row's “Move to Trash…”";
    EXPECT_TRUE(asked->message.contains(panel.groups().first().at(1).path()));

    QTest::keyClick(results, Qt::Key_Tab);
    EXPECT_FALSE(results->isAncestorOf(QApplication::focusWidget())) << "no row's button takes the focus";
    EXPECT_NE(QApplication::focusWidget(), results);
}
