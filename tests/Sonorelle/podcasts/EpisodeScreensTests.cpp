#include "PodcastScreenSupport.h"

#include "app/ContentView.h"
#include "podcasts/CircularProgress.h"
#include "podcasts/EpisodeDetailView.h"
#include "podcasts/EpisodeListView.h"
#include "podcasts/EpisodeRow.h"
#include "podcasts/PodcastArtworkLoader.h"
#include "podcasts/PodcastSyncSettingsSheet.h"
#include "podcasts/PodcastsView.h"
#include "widgets/PlaceholderView.h"

#include <QCheckBox>
#include <QListWidget>
#include <QMenu>
#include <QProgressBar>
#include <QPushButton>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using EpisodeFilter = EpisodeListView::EpisodeFilter;

namespace {

class EpisodeScreensTest : public ::testing::Test, protected PodcastScreenFixture {
protected:
    PodcastArtworkLoader artwork{64};
    Podcast show;
    std::unique_ptr<EpisodeListView> list;

    // A cover still on its way would outlive the test's server.
    void TearDown() override { EXPECT_TRUE(QTest::qWaitFor([this] { return !artwork.isLoading(); }, 10000)); }

    void SetUp() override
    {
        show = subscribe(u"Late Night Radio"_s, {{u"oldest"_s, 9}, {u"newest"_s, 1}, {u"middle"_s, 4}});
    }

    void makeList()
    {
        list = std::make_unique<EpisodeListView>(library, show.id, &artwork);
        list->resize(600, 500);
        list->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(list.get()));
    }

    QStringList rowTitles() const
    {
        QStringList titles;
        for (int i = 0; i < list->list()->count(); ++i)
            titles.append(list->rowAt(i)->episode().title);
        return titles;
    }

    EpisodeRow* row(const QString& title) const
    {
        for (int i = 0; i < list->list()->count(); ++i) {
            if (list->rowAt(i)->episode().title == title)
                return list->rowAt(i);
        }
        return nullptr;
    }

    QStringList menuOf(const QString& title, const QString& trigger = {})
    {
        QMenu menu;
        row(title)->fillMenu(menu);
        QStringList texts;
        for (QAction* action : menu.actions()) {
            texts.append(action->text());
            if (action->text() == trigger)
                action->trigger();
        }
        return texts;
    }
};

TEST_F(EpisodeScreensTest, HeaderCountsNewestFirstAndFiltersWithTheirEmptyTexts)
{
    makeList();
    EXPECT_EQ(list->titleText(), u"Late Night Radio"_s);
    EXPECT_EQ(list->countText(), u"3 episodes"_s);
    EXPECT_TRUE(list->updatedText().startsWith(u"Updated "_s)) << list->updatedText().toStdString();
    EXPECT_TRUE(list->updatedText().endsWith(u" ago"_s));
    EXPECT_EQ(rowTitles(), (QStringList{u"newest"_s, u"middle"_s, u"oldest"_s}));
    EXPECT_EQ(row(u"middle"_s)->dateText().right(4), u"1:05"_s);

    list->setFilter(EpisodeFilter::downloaded);
    EXPECT_TRUE(rowTitles().isEmpty());
    EXPECT_EQ(list->emptyTitle(), u"No Downloaded Episodes"_s);
    EXPECT_EQ(list->emptyMessage(), u"Change the filter to see more episodes."_s);
    // The header counts every episode, not the filtered ones.
    EXPECT_EQ(list->countText(), u"3 episodes"_s);
}

TEST_F(EpisodeScreensTest, MarkingPlayedUnderUnplayedHidesTheRowButKeepsTheSelection)
{
    makeList();
    list->setFilter(EpisodeFilter::unplayed);
    std::optional<Episode> announced;
    QObject::connect(list.get(), &EpisodeListView::selectedEpisodeChanged, list.get(),
                     [&announced](const std::optional<Episode>& e) { announced = e; });
    list->list()->item(1)->setSelected(true);
    ASSERT_TRUE(announced);
    EXPECT_EQ(announced->title, u"middle"_s);

    EXPECT_EQ(menuOf(u"middle"_s, u"Mark as Played"_s), QStringList{u"Mark as Played"_s});
    EXPECT_TRUE(episodeTitled(u"middle"_s).isPlayed);
    EXPECT_TRUE(QTest::qWaitFor([this] { return rowTitles().size() == 2; }, 2000));
    EXPECT_EQ(rowTitles(), (QStringList{u"newest"_s, u"oldest"_s}));
    EXPECT_EQ(list->selectedEpisode()->title, u"middle"_s);

    list->setFilter(EpisodeFilter::all);
    EXPECT_EQ(menuOf(u"middle"_s, u"Mark as Unplayed"_s), QStringList{u"Mark as Unplayed"_s});
    EXPECT_FALSE(episodeTitled(u"middle"_s).isPlayed);
}

TEST_F(EpisodeScreensTest, DownloadShowsTheRingThenTheMarkAndOffersDeleteOnlyWhenDone)
{
    FakeResponse slow = FakeResponse::slow(QByteArray(64 * 1024, 'a'), 8 * 1024, std::chrono::milliseconds(60));
    slow.headers.append(std::pair<QByteArray, QByteArray>("Content-Type", "audio/mpeg"));
    server.route(u"/media/newest.mp3"_s, slow);
    makeList();
    EXPECT_EQ(row(u"newest"_s)->statusControl(), row(u"newest"_s)->downloadButton());

    row(u"newest"_s)->downloadButton()->click();
    EXPECT_TRUE(QTest::qWaitFor([this] { return library.downloadProgress().value(episodeTitled(u"newest"_s).id) > 0; },
                                5000));
    EXPECT_TRUE(QTest::qWaitFor(
        [this] { return row(u"newest"_s) && row(u"newest"_s)->progressRing()->value() > 0; }, 2000));
    EXPECT_EQ(row(u"newest"_s)->statusControl(), row(u"newest"_s)->progressRing());
    EXPECT_EQ(menuOf(u"newest"_s), QStringList{u"Mark as Played"_s});

    EXPECT_TRUE(QTest::qWaitFor(
        [this] { return episodeTitled(u"newest"_s).downloadState == DownloadState::downloaded; }, 10000));
    EXPECT_TRUE(QTest::qWaitFor([this] { return row(u"newest"_s)->progressRing()->value() == 0
                                                || row(u"newest"_s)->statusControl() != row(u"newest"_s)->progressRing(); },
                                2000));
    EXPECT_EQ(menuOf(u"newest"_s, u"Delete file"_s), (QStringList{u"Mark as Played"_s, u"Delete file"_s}));
    EXPECT_EQ(episodeTitled(u"newest"_s).downloadState, DownloadState::notDownloaded);
}

TEST_F(EpisodeScreensTest, AFailedDownloadOffersRetry)
{
    server.route(u"/media/oldest.mp3"_s, FakeResponse::cutAfter(QByteArray(4096, 'a'), 100));
    makeList();
    row(u"oldest"_s)->downloadButton()->click();
    EXPECT_TRUE(QTest::qWaitFor(
        [this] { return episodeTitled(u"oldest"_s).downloadState == DownloadState::failed; }, 5000));
    EXPECT_TRUE(QTest::qWaitFor([this] { return row(u"oldest"_s)->statusControl() == row(u"oldest"_s)->retryButton(); },
                                2000));
    EXPECT_EQ(row(u"oldest"_s)->retryButton()->toolTip(), u"Retry download"_s);
}

TEST_F(EpisodeScreensTest, DetailShowsCleanNotesAndFollowsTheLiveRecord)
{
    EpisodeDetailView detail(library, episodeTitled(u"middle"_s), show);
    detail.show();
    EXPECT_EQ(detail.titleText(), u"middle"_s);
    EXPECT_EQ(detail.podcastText(), u"Late Night Radio"_s);
    EXPECT_TRUE(detail.dateText().endsWith(u"1:05"_s));
    EXPECT_TRUE(QTest::qWaitFor([&detail] { return !detail.notesText().isEmpty(); }, 2000));
    EXPECT_EQ(detail.notesText(), u"Notes of middle with <a href=\"https://example.org/middle\">a link</a> &amp; more"_s);
    EXPECT_EQ(detail.downloadSection(), detail.downloadButton());
    EXPECT_EQ(detail.downloadButton()->text(), u"Download"_s);

    detail.playedSwitch()->click();
    EXPECT_TRUE(episodeTitled(u"middle"_s).isPlayed);
    EXPECT_EQ(detail.downloadButton()->text(), u"Download again"_s);

    detail.downloadButton()->click();
    EXPECT_TRUE(QTest::qWaitFor([&detail] { return detail.downloadSection() != detail.downloadButton(); }, 5000));
    EXPECT_TRUE(QTest::qWaitFor(
        [this] { return episodeTitled(u"middle"_s).downloadState == DownloadState::downloaded; }, 5000));
    ASSERT_TRUE(QTest::qWaitFor([&detail] { return detail.deleteButton()->isVisibleTo(&detail); }, 2000));
    detail.deleteButton()->click();
    EXPECT_EQ(episodeTitled(u"middle"_s).downloadState, DownloadState::notDownloaded);
    EXPECT_EQ(detail.downloadSection(), detail.downloadButton());
}

TEST_F(EpisodeScreensTest, SyncSettingsKeepTheChosenRuleAcrossTheSwitchAndSaveOnlyOnSave)
{
    {
        PodcastSyncSettingsSheet sheet(library, show);
        EXPECT_FALSE(sheet.autoEnabled());
        EXPECT_EQ(sheet.ruleButton()->text(), u"Latest 3 episodes"_s);
        sheet.autoSwitch()->click();
        EXPECT_TRUE(sheet.ruleRow()->isVisibleTo(&sheet));
        const QList<QAction*> entries = sheet.ruleButton()->menu()->actions();
        ASSERT_EQ(entries.size(), 7);
        entries.at(5)->trigger();
        EXPECT_EQ(sheet.ruleButton()->text(), u"Newer than 14 days"_s);
        sheet.autoSwitch()->click();
        sheet.autoSwitch()->click();
        EXPECT_EQ(sheet.autoRule(), PodcastAutoDownloadRule::newerThan(14));
        sheet.reject();
    }
    EXPECT_EQ(library.podcasts().constFirst().autoDownloadRule, PodcastAutoDownloadRule::none());

    library.updatePodcastAutoDownload(show.id, PodcastAutoDownloadRule::newerThan(60));
    PodcastSyncSettingsSheet stored(library, library.podcasts().constFirst());
    EXPECT_TRUE(stored.autoEnabled());
    EXPECT_EQ(stored.ruleButton()->text(), u"Newer than 60 days"_s);
    stored.autoSwitch()->click();
    stored.save();
    EXPECT_EQ(library.podcasts().constFirst().autoDownloadRule, PodcastAutoDownloadRule::none());
}

TEST_F(EpisodeScreensTest, WindowShowsTheEpisodeDetailUntilItsPodcastGoesOrPodcastsIsLeft)
{
    ContentView content(library);
    content.setSidebarSelection(SidebarItem{SidebarItem::Kind::podcasts, {}});
    content.podcastsView()->setSelectedPodcastID(show.id);
    EpisodeListView* episodes = content.podcastsView()->episodeList();
    ASSERT_NE(episodes, nullptr);
    episodes->list()->item(0)->setSelected(true);
    auto* detail = qobject_cast<EpisodeDetailView*>(content.detailColumn());
    ASSERT_NE(detail, nullptr);
    EXPECT_EQ(detail->titleText(), u"newest"_s);

    content.setSidebarSelection(SidebarItem{SidebarItem::Kind::music, {}});
    EXPECT_EQ(content.selectedEpisode(), std::nullopt);
    content.setSidebarSelection(SidebarItem{SidebarItem::Kind::podcasts, {}});
    EXPECT_EQ(qobject_cast<EpisodeDetailView*>(content.detailColumn()), nullptr);

    content.podcastsView()->episodeList()->setSelectedEpisode(episodeTitled(u"oldest"_s).id);
    ASSERT_NE(qobject_cast<EpisodeDetailView*>(content.detailColumn()), nullptr);
    library.deletePodcast(show.id);
    auto* placeholder = qobject_cast<PlaceholderView*>(content.detailColumn());
    ASSERT_NE(placeholder, nullptr);
    EXPECT_EQ(placeholder->title(), u"No Episode Selected"_s);
}

} // namespace
