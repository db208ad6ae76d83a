#include "PlaylistTestSupport.h"

#include "playlists/PlaylistDetailView.h"
#include "playlists/PlaylistHeader.h"
#include "playlists/PlaylistsView.h"
#include "playlists/SmartPlaylistDetailView.h"
#include "playlists/SmartPlaylistEditorSheet.h"
#include "widgets/PlaceholderView.h"

#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class PlaylistsViewTest : public ::testing::Test, protected PlaylistFixture {
protected:
    std::optional<QString> nameAnswer;
    std::optional<TextPromptRequest> asked;
    std::unique_ptr<PlaylistsView> view;

    void makeView()
    {
        view = std::make_unique<PlaylistsView>(
            library,
            [this](QWidget*, const TextPromptRequest& request) {
                asked = request;
                return nameAnswer;
            },
            [](QWidget*, const SaveFilePickerRequest&) { return std::optional<QString>(); });
        view->resize(900, 500);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }

    QString detailTitle() const
    {
        if (auto* placeholder = qobject_cast<PlaceholderView*>(view->detail()))
            return placeholder->title();
        if (auto* page = qobject_cast<PlaylistDetailView*>(view->detail()))
            return u"playlist: "_s + page->header()->title();
        if (auto* page = qobject_cast<SmartPlaylistDetailView*>(view->detail()))
            return u"smart: "_s + page->header()->title();
        return {};
    }

    void deleteRow(const PlaylistSelection& row)
    {
        QMenu menu;
        view->fillRowMenu(menu, row);
        ASSERT_EQ(menu.actions().size(), 1);
        EXPECT_EQ(menu.actions().constFirst()->text(), u"Delete"_s);
        menu.actions().constFirst()->trigger();
    }

    void clickListRow(const QString& name)
    {
        const QList<QTreeWidgetItem*> found = view->list()->findItems(name, Qt::MatchExactly | Qt::MatchRecursive);
        ASSERT_FALSE(found.isEmpty()) << name.toStdString();
        const QRect rect = view->list()->visualItemRect(found.constFirst());
        QTest::mouseClick(view->list()->viewport(), Qt::LeftButton, Qt::NoModifier, rect.center());
    }
};

TEST_F(PlaylistsViewTest, TwoSectionsInListOrderCountingWhatExistsAndARowClickShowsItsPage)
{
    Track nineties = makeTrack(u"A"_s);
    nineties.year = 1999;
    Track noughties = makeTrack(u"B"_s);
    noughties.year = 2000;
    library.add(nineties);
    library.add(noughties);
    const Playlist zed = playlistHolding(u"Zed"_s, {nineties.id, QUuid::createUuid()});
    playlistHolding(u"Mix"_s, {nineties.id, noughties.id});
    playlistHolding(u"Mix"_s, {});
    makeView();
    EXPECT_EQ(view->listTexts(),
              (QStringList{u"Playlists"_s, u"Zed\t1 track"_s, u"Mix\t2 tracks"_s, u"Mix\t0 tracks"_s}))
        << "no Smart Playlists section without smart playlists; same names both listed";

    SmartPlaylist decade = library.createSmartPlaylist(u"Nineties"_s);
    decade.filterDecades = {1990};
    library.updateSmartPlaylist(decade);
    library.createSmartPlaylist(u"Everything"_s);
    EXPECT_EQ(view->listTexts(), (QStringList{u"Playlists"_s, u"Zed\t1 track"_s, u"Mix\t2 tracks"_s,
                                              u"Mix\t0 tracks"_s, u"Smart Playlists"_s, u"Nineties\t1 track"_s,
                                              u"Everything\t2 tracks"_s}));

    clickListRow(u"Zed"_s);
    EXPECT_EQ(view->selection(), (PlaylistSelection{PlaylistSelection::Kind::regular, zed.id}));
    EXPECT_EQ(detailTitle(), u"playlist: Zed"_s);
    clickListRow(u"Nineties"_s);
    EXPECT_EQ(view->selection(), (PlaylistSelection{PlaylistSelection::Kind::smart, decade.id}));
    EXPECT_EQ(detailTitle(), u"smart: Nineties"_s);
    clickListRow(u"Smart Playlists"_s);
    EXPECT_EQ(detailTitle(), u"smart: Nineties"_s) << "a section title is no choice";

    library.add(makeTrack(u"New"_s));
    EXPECT_TRUE(QTest::qWaitFor([this] { return view->listTexts().constLast() == u"Everything\t3 tracks"_s; }, 2000))
        << "counts follow the tracks a moment later";
}

TEST_F(PlaylistsViewTest, NewPlaylistsAreTrimmedCreatedAndSelectedAndCancelMakesNothing)
{
    makeView();
    nameAnswer = u"  Road Trip  "_s;
    view->newPlaylistAction()->trigger();
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->title, u"New Playlist"_s);
    ASSERT_EQ(library.playlists().size(), 1);
    EXPECT_EQ(library.playlists().constFirst().name, u"Road Trip"_s);
    EXPECT_EQ(view->selection(),
              (PlaylistSelection{PlaylistSelection::Kind::regular, library.playlists().constFirst().id}));
    EXPECT_EQ(detailTitle(), u"playlist: Road Trip"_s);
    EXPECT_EQ(view->list()->selectedItems().size(), 1);
    nameAnswer = u" \t "_s;
    view->newPlaylist();
    nameAnswer.reset();
    view->newPlaylist();
    EXPECT_EQ(library.playlists().size(), 1) << "a blank name or Cancel makes nothing";

    view->newSmartPlaylistAction()->trigger();
    SmartPlaylistEditorSheet* sheet = view->editorSheet();
    ASSERT_NE(sheet, nullptr);
    QTest::keyClicks(sheet->nameField(), u"Everything"_s);
    QTest::mouseClick(sheet->saveButton(), Qt::LeftButton);
    ASSERT_EQ(library.smartPlaylists().size(), 1);
    EXPECT_EQ(view->selection(),
              (PlaylistSelection{PlaylistSelection::Kind::smart, library.smartPlaylists().constFirst().id}));
    EXPECT_EQ(detailTitle(), u"smart: Everything"_s);
    EXPECT_TRUE(QTest::qWaitFor([this] { return view->editorSheet() == nullptr; }, 2000));
    view->newSmartPlaylist();
    ASSERT_NE(view->editorSheet(), nullptr);
    view->editorSheet()->reject();
    EXPECT_EQ(library.smartPlaylists().size(), 1) << "Cancel adds nothing";
}

TEST_F(PlaylistsViewTest, StartsEmptyAndDeletingTheSelectedRowClearsTheSelection)
{
    makeView();
    EXPECT_EQ(view->listTexts(), QStringList{u"No playlists yet"_s});
    EXPECT_EQ(detailTitle(), u"No Playlist Selected"_s);
    const Playlist mix = playlistHolding(u"Mix"_s, {});
    const Playlist other = playlistHolding(u"Other"_s, {});
    const SmartPlaylist smart = library.createSmartPlaylist(u"All"_s);
    view->setSelection(PlaylistSelection{PlaylistSelection::Kind::regular, mix.id});

    deleteRow({PlaylistSelection::Kind::regular, other.id});
    EXPECT_EQ(view->selection(), (PlaylistSelection{PlaylistSelection::Kind::regular, mix.id}));
    deleteRow({PlaylistSelection::Kind::regular, mix.id});
    EXPECT_FALSE(view->selection().has_value());
    EXPECT_EQ(detailTitle(), u"No Playlist Selected"_s);
    EXPECT_EQ(view->listTexts(), (QStringList{u"Playlists"_s, u"Smart Playlists"_s, u"All\t0 tracks"_s}));

    view->setSelection(PlaylistSelection{PlaylistSelection::Kind::smart, smart.id});
    deleteRow({PlaylistSelection::Kind::smart, smart.id});
    EXPECT_TRUE(library.smartPlaylists().isEmpty());
    EXPECT_FALSE(view->selection().has_value());
    EXPECT_EQ(view->listTexts(), QStringList{u"No playlists yet"_s});
}

} // namespace
