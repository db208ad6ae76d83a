#include "PodcastScreenSupport.h"

#include "podcasts/PodcastPreviewPanel.h"
#include "podcasts/PodcastSearchSheet.h"
#include "podcasts/PodcastsView.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QToolButton>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The directory is the fake server, named in the installation's services.conf.
class PodcastSearchSheetTest : public ::testing::Test, protected PodcastScreenFixture {
protected:
    std::unique_ptr<PodcastSearchSheet> sheet;

    void SetUp() override
    {
        writeFile(servicesFile(), "[General]\niTunes=" + server.url(u"/"_s).toEncoded() + "\n");
        sheet = std::make_unique<PodcastSearchSheet>(library);
        sheet->show();
    }
    void TearDown() override { QFile::remove(servicesFile()); }
    static QString servicesFile() { return TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s; }

    // One hit per feed path; the second has no title and the third no feed address.
    void answerWith(const QStringList& feedPaths)
    {
        QJsonArray results;
        qint64 id = 100;
        for (const QString& path : feedPaths) {
            QJsonObject hit{{u"trackId"_s, ++id}, {u"feedUrl"_s, server.url(path).toString()},
                            {u"artistName"_s, u"Host"_s}, {u"trackCount"_s, 12},
                            {u"genres"_s, QJsonArray{u"Comedy"_s, u"Podcasts"_s}}};
            if (id != 102)
                hit.insert(u"trackName"_s, QString(u"Show "_s + path));
            results.append(hit);
        }
        results.append(QJsonObject{{u"trackId"_s, 999}, {u"trackName"_s, u"No feed"_s}});
        server.route(u"/search"_s,
                     FakeResponse::ok(QJsonDocument(QJsonObject{{u"results"_s, results}}).toJson(), "text/javascript"));
    }

    QStringList resultTitles() const
    {
        QStringList titles;
        for (const PodcastSearchResult& result : sheet->results())
            titles.append(result.title);
        return titles;
    }
};

TEST_F(PodcastSearchSheetTest, KeystrokesWithinThePauseMakeOneRequestForTheWholeText)
{
    answerWith({u"/a.xml"_s, u"/b.xml"_s});
    EXPECT_EQ(sheet->searchPlaceholderText(), u"Search for a podcast to add it to your library."_s);
    QTest::keyClicks(sheet->searchField(), u"rad"_s);
    EXPECT_TRUE(QTest::qWaitFor([this] { return !sheet->results().isEmpty(); }, 5000));
    ASSERT_EQ(server.requestCount(u"/search"_s), 1);
    EXPECT_TRUE(server.requests().constLast().target.contains("term=rad&"));
    EXPECT_EQ(resultTitles(), (QStringList{u"Show /a.xml"_s, u"Unknown Podcast"_s}));
    EXPECT_EQ(sheet->resultList()->item(0)->text(), u"Show /a.xml\nHost · 12 episodes · Comedy"_s);

    // A new keystroke while a slow answer is on its way wins over it.
    FakeResponse slow = FakeResponse::ok(R"({"results": []})", "text/javascript");
    slow.delay = std::chrono::milliseconds(600);
    server.route(u"/search"_s, slow);
    QTest::keyClicks(sheet->searchField(), u"i"_s);
    QTest::qWait(int(PodcastSearchSheet::searchPause.count()) + 100);
    EXPECT_TRUE(sheet->isSearching());
    answerWith({u"/c.xml"_s});
    QTest::keyClicks(sheet->searchField(), u"o"_s);
    EXPECT_TRUE(QTest::qWaitFor([this] { return resultTitles() == QStringList{u"Show /c.xml"_s}; }, 5000));
    QTest::qWait(800);
    EXPECT_EQ(resultTitles(), QStringList{u"Show /c.xml"_s});
    EXPECT_FALSE(sheet->isSearching());

    // Blanks clear the list and ask nothing.
    const qsizetype asked = server.requestCount(u"/search"_s);
    sheet->searchField()->setText(u"   "_s);
    QTest::qWait(int(PodcastSearchSheet::searchPause.count()) + 100);
    EXPECT_TRUE(sheet->results().isEmpty());
    EXPECT_EQ(server.requestCount(u"/search"_s), asked);
}

TEST_F(PodcastSearchSheetTest, NoHitsNamesTheText)
{
    server.route(u"/search"_s, FakeResponse::ok(R"({"results": []})", "text/javascript"));
    sheet->searchField()->setText(u"zzz"_s);
    EXPECT_TRUE(QTest::qWaitFor([this] { return server.requestCount(u"/search"_s) == 1 && !sheet->isSearching(); }, 5000));
    EXPECT_TRUE(sheet->searchPlaceholderText().startsWith(u"No Results"_s));
    EXPECT_TRUE(sheet->searchPlaceholderText().contains(u"“zzz”"_s));
}

TEST_F(PodcastSearchSheetTest, ChoosingAHitPreviewsFiveEpisodesAndSubscribesFromThePreview)
{
    server.route(u"/six.xml"_s, FakeResponse::ok(feed(u"Six Show"_s, {{u"e1"_s, 1}, {u"e2"_s, 2}, {u"e3"_s, 3},
                                                                      {u"e4"_s, 4}, {u"e5"_s, 5}, {u"e6"_s, 6}}),
                                                 "application/rss+xml"));
    answerWith({u"/six.xml"_s});
    sheet->searchField()->setText(u"six"_s);
    ASSERT_TRUE(QTest::qWaitFor([this] { return !sheet->results().isEmpty(); }, 5000));
    BlockingWait::wait(sheet->choose(sheet->results().constFirst()));
    PodcastPreviewPanel* preview = sheet->preview();
    ASSERT_NE(preview, nullptr);
    EXPECT_EQ(preview->previewEpisodes().size(), 5);
    EXPECT_EQ(preview->previewEpisodes().constFirst().title, u"e1"_s);
    EXPECT_EQ(preview->findChildren<QLabel*>(u"episode"_s).size(), 5);
    EXPECT_EQ(preview->subscribeButton()->text(), u"Subscribe"_s);
    const QUuid previewID = preview->podcast().id;

    preview->subscribeButton()->click();
    EXPECT_TRUE(QTest::qWaitFor([this] { return sheet->result() == QDialog::Accepted; }, 5000));
    ASSERT_EQ(library.podcasts().size(), 1);
    EXPECT_EQ(library.podcasts().constFirst().title, u"Six Show"_s);
    EXPECT_NE(library.podcasts().constFirst().id, previewID);
}

TEST_F(PodcastSearchSheetTest, PastedAddressesPreviewOrSayWhyNot)
{
    sheet->setMode(PodcastSearchSheet::Mode::url);
    EXPECT_FALSE(sheet->previewButton()->isEnabled());
    sheet->urlField()->setText(u"  not a url  "_s);
    ASSERT_TRUE(sheet->previewButton()->isEnabled());
    BlockingWait::wait(sheet->previewURL());
    EXPECT_EQ(sheet->urlError(), u"Invalid URL."_s);

    server.route(u"/page.html"_s, FakeResponse::ok("<html><body>A web page</body></html>", "text/html"));
    sheet->urlField()->setText(server.url(u"/page.html"_s).toString());
    BlockingWait::wait(sheet->previewURL());
    EXPECT_EQ(sheet->urlError(), u"Could not load feed. Check the URL and try again."_s);
    EXPECT_EQ(sheet->preview(), nullptr);

    const Podcast subscribed = subscribe(u"Known Show"_s, {{u"pilot"_s, 1}});
    sheet->urlField()->setText(subscribed.feedURL.toString());
    BlockingWait::wait(sheet->previewURL());
    EXPECT_EQ(sheet->urlError(), QString());
    ASSERT_NE(sheet->preview(), nullptr);
    EXPECT_EQ(sheet->preview()->subscribeButton()->text(), u"Already subscribed"_s);
    EXPECT_FALSE(sheet->preview()->subscribeButton()->isEnabled());

    // Another spelling of the address is another feed.
    sheet->urlField()->setText(subscribed.feedURL.toString() + u"?"_s);
    BlockingWait::wait(sheet->previewURL());
    ASSERT_NE(sheet->preview(), nullptr);
    EXPECT_EQ(sheet->preview()->subscribeButton()->text(), u"Subscribe"_s);
}

TEST_F(PodcastSearchSheetTest, TheListsAddButtonOpensTheSheetAndSelectsWhatItAdded)
{
    PodcastsView view(library);
    view.show();
    for (QToolButton* button : view.findChildren<QToolButton*>()) {
        if (button->toolTip() == u"Add podcast"_s)
            button->click();
    }
    PodcastSearchSheet* opened = view.searchSheet();
    ASSERT_NE(opened, nullptr);
    server.route(u"/new.xml"_s, FakeResponse::ok(feed(u"New Show"_s, {{u"one"_s, 1}}), "application/rss+xml"));
    opened->setMode(PodcastSearchSheet::Mode::url);
    opened->urlField()->setText(server.url(u"/new.xml"_s).toString());
    BlockingWait::wait(opened->previewURL());
    ASSERT_NE(opened->preview(), nullptr);
    opened->preview()->subscribeButton()->click();
    EXPECT_TRUE(QTest::qWaitFor([&view] { return view.selectedPodcastID().has_value(); }, 5000));
    EXPECT_EQ(library.podcasts().constFirst().title, u"New Show"_s);
    EXPECT_EQ(view.selectedPodcastID(), library.podcasts().constFirst().id);
}

} // namespace
