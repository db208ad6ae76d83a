#include "app/ContentView.h"
#include "app/SidebarView.h"
#include "facade/Library.h"
#include "maintenance/LibraryMaintenanceView.h"
#include "music/AlbumDetailView.h"
#include "music/MusicView.h"
#include "music/TrackDetailView.h"
#include "podcasts/PodcastsView.h"
#include "support/TestEnvironment.h"
#include "support/TrackFactory.h"
#include "widgets/PlaceholderView.h"

#include <QTreeWidget>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class ContentViewTest : public ::testing::Test {
protected:
    TemporaryStores stores;
    Library library{QUrl::fromLocalFile(stores.folder() + u"/Music"_s)};
    std::unique_ptr<ContentView> content;

    void SetUp() override
    {
        library.add(makeTrack(u"One"_s, u"Band"_s, u"Record"_s));
        library.add(makeTrack(u"Two"_s, u"Band"_s, u"Record"_s));
        content = std::make_unique<ContentView>(library);
    }

    void select(std::optional<SidebarItem::Kind> kind)
    {
        content->setSidebarSelection(kind ? std::optional<SidebarItem>(SidebarItem{*kind, {}}) : std::nullopt);
    }

    QString detailTitle() const
    {
        const auto* placeholder = qobject_cast<PlaceholderView*>(content->detailColumn());
        return placeholder ? placeholder->title() : QString();
    }
};

} // namespace

TEST_F(ContentViewTest, AnAlbumThenADoubleClickedRowOpenTheirDetails)
{
    const QList<AlbumGroup> groups = AlbumGroup::group(library.tracks(), AlbumSortOption::artist);
    content->setSelectedAlbum(groups.constFirst());
    auto* album = qobject_cast<AlbumDetailView*>(content->detailColumn());
    ASSERT_NE(album, nullptr);
    QTreeWidget* rows = album->rows();
    ASSERT_EQ(rows->topLevelItemCount(), 2);
    emit rows->itemClicked(rows->topLevelItem(1), 0);
    EXPECT_EQ(content->detailColumn(), album) << "a single click only highlights";
    emit rows->itemDoubleClicked(rows->topLevelItem(1), 0);
    auto* track = qobject_cast<TrackDetailView*>(content->detailColumn());
    ASSERT_NE(track, nullptr);
    EXPECT_EQ(track->savedSnapshot().title, u"Two"_s);
}

TEST_F(ContentViewTest, MusicStartsWithNothingChosenAndChangingTheSidebarClearsTheChoice)
{
    EXPECT_EQ(content->contentColumn(), content->musicView());
    EXPECT_EQ(detailTitle(), u"Select a track or album"_s);
    content->setSelectedTrack(library.tracks().constFirst());
    ASSERT_NE(qobject_cast<TrackDetailView*>(content->detailColumn()), nullptr);

    select(SidebarItem::Kind::library);
    EXPECT_NE(qobject_cast<LibraryMaintenanceView*>(content->contentColumn()), nullptr);
    EXPECT_EQ(qobject_cast<PlaceholderView*>(content->detailColumn()), nullptr) << "maintenance has no detail";
    EXPECT_FALSE(content->selectedTrack().has_value());

    select(SidebarItem::Kind::music);
    EXPECT_EQ(detailTitle(), u"Select a track or album"_s);
}

TEST_F(ContentViewTest, PlaceholdersForRowsWithoutAScreenAndForNoSelection)
{
    select(std::nullopt);
    const auto* screen = qobject_cast<PlaceholderView*>(content->contentColumn());
    ASSERT_NE(screen, nullptr);
    EXPECT_EQ(screen->title(), u"Select an item"_s);
    EXPECT_EQ(detailTitle(), u"Select a track"_s);

    select(SidebarItem::Kind::podcasts);
    EXPECT_EQ(detailTitle(), u"No Episode Selected"_s);
    EXPECT_EQ(content->contentColumn(), content->podcastsView());
}
