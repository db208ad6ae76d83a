#include "PodcastScreenSupport.h"

#include "podcasts/EpisodeListView.h"
#include "podcasts/PodcastsView.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

class PodcastsViewTest : public ::testing::Test, protected PodcastScreenFixture {
protected:
    std::unique_ptr<PodcastsView> view;

    void makeView()
    {
        view = std::make_unique<PodcastsView>(library);
        view->resize(900, 500);
        view->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(view.get()));
    }

    QStringList menuEntries(const QUuid& id)
    {
        QMenu menu;
        view->fillRowMenu(menu, id);
        QStringList texts;
        for (const QAction* action : menu.actions())
            texts.append(action->text());
        return texts;
    }

    void trigger(const QUuid& id, const QString& entry)
    {
        QMenu menu;
        view->fillRowMenu(menu, id);
        for (QAction* action : menu.actions()) {
            if (action->text() == entry)
                action->trigger();
        }
    }
};

TEST_F(PodcastsViewTest, EmptyListThenRowsWithCountsThenTitleFilterAndNoResults)
{
    makeView();
    EXPECT_EQ(view->listTexts(), QStringList{u"No podcasts yet"_s});

    subscribe(u"Late Night Radio"_s, {{u"one"_s, 3}, {u"two"_s, 2}});
    subscribe(u"Science Weekly"_s, {{u"only"_s, 1}});
    EXPECT_EQ(view->listTexts(), (QStringList{u"Late Night Radio\t2 episodes"_s, u"Science Weekly\t1 episode"_s}));

    view->filterField()->setText(u"radio"_s);
    EXPECT_EQ(view->listTexts(), QStringList{u"Late Night Radio\t2 episodes"_s});
    view->filterField()->setText(u"jazz"_s);
    EXPECT_EQ(view->listTexts(), QStringList{u"No results"_s});
    view->filterField()->clear();
    EXPECT_EQ(view->listTexts().size(), 2);
}

TEST_F(PodcastsViewTest, CoversArriveLaterAndAreFetchedOnce)
{
    subscribe(u"Late Night Radio"_s, {{u"one"_s, 3}});
    makeView();
    const auto coverShown = [this] {
        const QWidget* row = view->list()->itemWidget(view->list()->item(0));
        for (const QLabel* label : row->findChildren<QLabel*>()) {
            if (label->pixmap().width() == 40)
                return true;
        }
        return false;
    };
    EXPECT_TRUE(QTest::qWaitFor(coverShown, 5000));
    // Redrawing the list (a new count) uses the kept cover.
    view->filterField()->setText(u"late"_s);
    EXPECT_TRUE(coverShown());
    EXPECT_EQ(server.requestCount(u"/art/Late-Night-Radio.png"_s), 1);
}

TEST_F(PodcastsViewTest, RowMenuSelectsAndUnsubscribes)
{
    const Podcast radio = subscribe(u"Late Night Radio"_s, {{u"one"_s, 3}});
    const Podcast science = subscribe(u"Science Weekly"_s, {{u"only"_s, 1}});
    makeView();
    EXPECT_EQ(view->episodeList(), nullptr);
    EXPECT_EQ(menuEntries(radio.id), (QStringList{u"Refresh"_s, u"Sync Settings…"_s, u"Unsubscribe"_s}));

    trigger(radio.id, u"Sync Settings…"_s);
    EXPECT_EQ(view->selectedPodcastID(), radio.id);
    ASSERT_NE(view->episodeList(), nullptr);
    EXPECT_EQ(view->episodeList()->titleText(), u"Late Night Radio"_s);

    // Another podcast goes without touching the selection.
    trigger(science.id, u"Unsubscribe"_s);
    EXPECT_EQ(view->selectedPodcastID(), radio.id);
    EXPECT_EQ(library.podcasts().size(), 1);

    trigger(radio.id, u"Unsubscribe"_s);
    EXPECT_EQ(view->selectedPodcastID(), std::nullopt);
    EXPECT_EQ(view->episodeList(), nullptr);
    EXPECT_TRUE(library.podcasts().isEmpty());
    EXPECT_TRUE(library.episodes().isEmpty());
    EXPECT_EQ(view->listTexts(), QStringList{u"No podcasts yet"_s});
}

TEST_F(PodcastsViewTest, RefreshAllDisablesItsButtonUntilEveryFeedIsRead)
{
    const Podcast radio = subscribe(u"Late Night Radio"_s, {{u"one"_s, 3}});
    makeView();
    QByteArray slowFeed = feed(u"Late Night Radio"_s, {{u"one"_s, 3}, {u"two"_s, 0}});
    FakeResponse slow = FakeResponse::ok(slowFeed, "application/rss+xml");
    slow.delay = std::chrono::milliseconds(300);
    server.route(u"/feeds/1.xml"_s, slow);

    view->refreshAllButton()->click();
    EXPECT_TRUE(view->isRefreshingAll());
    EXPECT_FALSE(view->refreshAllButton()->isEnabled());
    EXPECT_TRUE(QTest::qWaitFor([this] { return !view->isRefreshingAll(); }, 5000));
    EXPECT_TRUE(view->refreshAllButton()->isEnabled());
    EXPECT_EQ(library.episodes(radio.id).size(), 2);
    EXPECT_EQ(view->listTexts(), QStringList{u"Late Night Radio\t2 episodes"_s});
}

} // namespace
