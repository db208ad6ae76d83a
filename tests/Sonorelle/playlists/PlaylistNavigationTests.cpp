#include "PlaylistTestSupport.h"

#include "app/ContentView.h"
#include "app/SidebarView.h"
#include "music/TrackDetailView.h"
#include "playlists/PlaylistDetailView.h"
#include "playlists/PlaylistsView.h"
#include "widgets/PlaceholderView.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class PlaylistNavigationTest : public ::testing::Test, protected PlaylistFixture {
protected:
    QList<Track> tracks = addTracks({u"A"_s, u"B"_s});
    Playlist mix = playlistHolding(u"Mix"_s, idsOf(tracks));
    ContentView content{library};

    void SetUp() override
    {
        content.resize(1400, 700);
        content.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&content));
    }

    void choose(SidebarItem::Kind kind) { content.sidebar()->setSelection(SidebarItem{kind, {}}); }

    QString detailText() const
    {
        if (auto* placeholder = qobject_cast<PlaceholderView*>(content.detailColumn()))
            return placeholder->title();
        if (auto* track = qobject_cast<TrackDetailView*>(content.detailColumn()))
            return u"track: "_s + track->savedSnapshot().title;
        return {};
    }

    PlaylistDetailView* page() const { return qobject_cast<PlaylistDetailView*>(content.playlistsView()->detail()); }
};

TEST_F(PlaylistNavigationTest, ThePlaylistsRowShowsTheListAndATrackRowDrivesTheDetailColumn)
{
    choose(SidebarItem::Kind::playlists);
    EXPECT_EQ(content.contentColumn(), content.playlistsView());
    EXPECT_EQ(detailText(), u"Select a track"_s);

    content.playlistsView()->setSelection(PlaylistSelection{PlaylistSelection::Kind::regular, mix.id});
    ASSERT_NE(page(), nullptr);
    EXPECT_EQ(detailText(), u"Select a track"_s) << "choosing a playlist chooses no track";

    clickRow(page()->table(), 1);
    EXPECT_EQ(detailText(), u"track: B"_s);
    ASSERT_TRUE(content.selectedTrack().has_value());
    EXPECT_EQ(content.selectedTrack()->id, tracks[1].id);

    const Playlist other = playlistHolding(u"Other"_s, {});
    content.playlistsView()->setSelection(PlaylistSelection{PlaylistSelection::Kind::regular, other.id});
    EXPECT_EQ(detailText(), u"Select a track"_s);
    EXPECT_FALSE(content.selectedTrack().has_value());
}

TEST_F(PlaylistNavigationTest, LeavingPlaylistsOrDeletingTheShownOneLetsGoOfTheTrack)
{
    choose(SidebarItem::Kind::playlists);
    content.playlistsView()->setSelection(PlaylistSelection{PlaylistSelection::Kind::regular, mix.id});
    clickRow(page()->table(), 0);
    EXPECT_EQ(detailText(), u"track: A"_s);

    choose(SidebarItem::Kind::music);
    EXPECT_EQ(detailText(), u"Select a track or album"_s);
    choose(SidebarItem::Kind::playlists);
    EXPECT_EQ(detailText(), u"Select a track"_s);
    EXPECT_EQ(content.playlistsView()->selection(), (PlaylistSelection{PlaylistSelection::Kind::regular, mix.id}));
    ASSERT_NE(page(), nullptr);
    EXPECT_FALSE(page()->table()->selectionModel()->hasSelection()) << "no row stays lit without its detail";

    clickRow(page()->table(), 0);
    EXPECT_EQ(detailText(), u"track: A"_s) << "the same row can be chosen again";

    library.deletePlaylist(mix.id);
    auto* placeholder = qobject_cast<PlaceholderView*>(content.playlistsView()->detail());
    ASSERT_NE(placeholder, nullptr);
    EXPECT_EQ(placeholder->title(), u"No Playlist Selected"_s);
    EXPECT_EQ(detailText(), u"Select a track"_s) << "deleting the shown playlist elsewhere lets go of the track";
}

TEST_F(PlaylistNavigationTest, TheHiddenListCatchesUpWhenShown)
{
    choose(SidebarItem::Kind::music);
    library.createPlaylist(u"Later"_s);
    library.add(makeTrack(u"C"_s));
    QTest::qWait(300);
    EXPECT_FALSE(content.playlistsView()->listTexts().contains(u"Later\t0 tracks"_s))
        << "no work for a screen nobody sees";

    choose(SidebarItem::Kind::playlists);
    EXPECT_EQ(content.playlistsView()->listTexts(),
              (QStringList{u"Playlists"_s, u"Mix\t2 tracks"_s, u"Later\t0 tracks"_s}));
}

} // namespace
