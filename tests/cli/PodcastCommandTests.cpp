#include "VelmoTest.h"
#include "library/JsonCoding.h"
#include "library/Settings.h"
#include "podcasts/Episode.h"
#include "podcasts/OPML.h"
#include "podcasts/Podcast.h"
#include "podcasts/PodcastStore.h"
#include "support/FakeHttpServer.h"
#include "support/PodcastFeeds.h"
#include "support/TestEnvironment.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

using Result = VelmoResult;

class VelmoPodcasts : public VelmoTest {
protected:
    void SetUp() override
    {
        VelmoTest::SetUp();
        const QDateTime now = QDateTime::currentDateTimeUtc();
        feed = rssFeed(u"Night Owls"_s, {
            {.title = u"Pilot"_s, .guid = u"p1"_s, .enclosure = server.url(u"/media/pilot.mp3"_s).toString(),
             .pubDate = rfc822(now.addDays(-7)), .duration = u"45:00"_s},
            {.title = u"Second Night"_s, .guid = u"p2"_s, .enclosure = server.url(u"/media/second.mp3"_s).toString(),
             .pubDate = rfc822(now.addDays(-1)), .duration = u"1:02:03"_s},
            {.title = u"Teaser without audio"_s},
        });
        server.route(u"/feed.xml"_s, [this](const FakeRequest&) { return FakeResponse::ok(feed); });
        server.route(u"/media/pilot.mp3"_s, FakeResponse::ok(QByteArray(30'000, 'p')));
        server.route(u"/media/second.mp3"_s, FakeResponse::ok(QByteArray(20'000, 's')));
    }
    void TearDown() override
    {
        VelmoTest::TearDown();
        QFile::remove(TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s);
    }

    FakeHttpServer server;
    QByteArray feed;
};

} // namespace

TEST_F(VelmoPodcasts, FeedParsePrintsTheRecordsInTheirStoreForm)
{
    const QString file = stores.path(u"feed.xml"_s);
    writeFile(file, feed);
    const Result result = velmo({u"feed"_s, u"parse"_s, file, u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QJsonObject document = QJsonDocument::fromJson(result.out.toUtf8()).object();
    EXPECT_EQ(document.keys(), (QStringList{u"episodes"_s, u"podcast"_s}));

    const auto podcast = Json::decode<Podcast>(QJsonDocument(document["podcast"_L1].toObject()).toJson());
    EXPECT_EQ(podcast.feedURL, QUrl::fromLocalFile(file));
    const QJsonArray episodes = document["episodes"_L1].toArray();
    ASSERT_EQ(episodes.size(), 2);
    const auto second = Json::decode<Episode>(QJsonDocument(episodes[1].toObject()).toJson());
    EXPECT_EQ(second.podcastID, podcast.id);
    EXPECT_EQ(second.title, u"Second Night"_s);

    const Result fetched = velmo({u"feed"_s, u"parse"_s, server.url(u"/feed.xml"_s).toString(), u"--json"_s});
    ASSERT_EQ(fetched.status, 0) << fetched.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(fetched.out.toUtf8())["episodes"_L1].toArray().size(), 2);

    const Result text = velmo({u"feed"_s, u"parse"_s, file});
    EXPECT_TRUE(text.out.contains(u"2 episodes"_s)) << text.out.toStdString();
}

TEST_F(VelmoPodcasts, FeedParseSaysWhyAFeedCannotBeRead)
{
    const QString page = stores.path(u"page.html"_s);
    writeFile(page, "<html><body>Moved<br></body></html>");
    const Result invalid = velmo({u"feed"_s, u"parse"_s, page, u"--json"_s});
    EXPECT_EQ(invalid.status, 1);
    EXPECT_TRUE(invalid.out.isEmpty());
    EXPECT_TRUE(invalid.err.startsWith(u"This is not a podcast feed that can be read"_s)) << invalid.err.toStdString();

    const Result missing = velmo({u"feed"_s, u"parse"_s, stores.path(u"nothing.xml"_s)});
    EXPECT_EQ(missing.status, 1);
    EXPECT_TRUE(missing.err.contains(u"cannot be read"_s)) << missing.err.toStdString();
}

TEST_F(VelmoPodcasts, FeedParseReadsNoDeviceOrPipeAndNamesTheStatusOfAnErrorPage)
{
    const QString pipe = stores.path(u"pipe.xml"_s);
    ASSERT_EQ(::mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    for (const QString& source : {u"/dev/zero"_s, u"/dev/urandom"_s, pipe}) {
        const Result refused = velmo({u"feed"_s, u"parse"_s, source});
        EXPECT_EQ(refused.status, 1) << source.toStdString();
        EXPECT_EQ(refused.err, u"The feed could not be loaded: “%1” is not a regular file.\n"_s.arg(source));
    }

    server.route(u"/gone.xml"_s, FakeResponse::withStatus(404, "<html><body>Not here</body></html>"));
    const Result missing = velmo({u"feed"_s, u"parse"_s, server.url(u"/gone.xml"_s).toString()});
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.err, u"The feed could not be loaded: the server answered 404: not found.\n"_s);

    initLibrary();
    const Result added = velmo({u"podcast"_s, u"add"_s, server.url(u"/gone.xml"_s).toString()});
    EXPECT_EQ(added.status, 1);
    EXPECT_EQ(added.err, missing.err);
}

TEST_F(VelmoPodcasts, SubscribeListDownloadAndRefresh)
{
    initLibrary();
    const Result added = velmo({u"podcast"_s, u"add"_s, server.url(u"/feed.xml"_s).toString()});
    ASSERT_EQ(added.status, 0) << added.err.toStdString();
    EXPECT_TRUE(added.out.contains(u"Subscribed to “Night Owls”: 2 episodes."_s)) << added.out.toStdString();

    const Result listed = velmo({u"podcast"_s, u"list"_s, u"--json"_s});
    const QJsonArray podcasts = QJsonDocument::fromJson(listed.out.toUtf8()).array();
    ASSERT_EQ(podcasts.size(), 1);
    EXPECT_EQ(podcasts[0]["title"_L1].toString(), u"Night Owls"_s);

    const Result episodes = velmo({u"podcast"_s, u"episodes"_s, u"night owls"_s, u"--json"_s});
    ASSERT_EQ(episodes.status, 0) << episodes.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(episodes.out.toUtf8()).array().size(), 2);

    const Result downloaded = velmo({u"podcast"_s, u"download"_s, u"owls"_s, u"pilot"_s});
    ASSERT_EQ(downloaded.status, 0) << downloaded.err.toStdString();
    const QString file = root() + u"/Podcasts/Night Owls/Pilot.mp3"_s;
    EXPECT_TRUE(downloaded.out.contains(file)) << downloaded.out.toStdString();
    EXPECT_TRUE(QFileInfo::exists(file));
    EXPECT_TRUE(downloaded.err.contains(u"Pilot: 100%"_s)) << downloaded.err.toStdString();

    feed = rssFeed(u"Night Owls"_s, {{.title = u"Third"_s, .guid = u"p3"_s,
                                       .enclosure = server.url(u"/media/third.mp3"_s).toString()}});
    const Result refreshed = velmo({u"podcast"_s, u"refresh"_s});
    EXPECT_EQ(refreshed.status, 0) << refreshed.err.toStdString();
    EXPECT_TRUE(refreshed.out.contains(u"1 new episode, 0 downloaded."_s)) << refreshed.out.toStdString();
    EXPECT_TRUE(velmo({u"podcast"_s, u"list"_s}).out.contains(u"3 episodes, 1 downloaded; auto-download: none"_s))
        << "the download was saved";

    EXPECT_EQ(velmo({u"podcast"_s, u"auto-download"_s, u"owls"_s, u"latest"_s, u"0"_s}).status, 2);
    EXPECT_EQ(velmo({u"podcast"_s, u"auto-download"_s, u"owls"_s, u"newest"_s, u"2"_s}).status, 2);
    const Result ruled = velmo({u"podcast"_s, u"auto-download"_s, u"owls"_s, u"latest"_s, u"2"_s});
    ASSERT_EQ(ruled.status, 0) << ruled.err.toStdString();
    EXPECT_EQ(PodcastStore::load().value.podcasts.constFirst().autoDownloadRule, PodcastAutoDownloadRule::latestN(2));
    EXPECT_TRUE(ruled.out.contains(u"latest 2"_s)) << ruled.out.toStdString();
    const QList<Episode> after = PodcastStore::load().value.episodes;
    EXPECT_EQ(std::count_if(after.cbegin(), after.cend(),
                            [](const Episode& e) { return e.downloadState == DownloadState::downloaded; }),
              1)
        << "no download starts before the next refresh";

    feed = "not a feed";
    const Result failed = velmo({u"podcast"_s, u"refresh"_s, u"Night Owls"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains(u"This is not a podcast feed"_s)) << failed.err.toStdString();
}

TEST_F(VelmoPodcasts, NamesThatMatchNothingOrSeveralAreRefusedInWords)
{
    initLibrary();
    ASSERT_EQ(velmo({u"podcast"_s, u"add"_s, server.url(u"/feed.xml"_s).toString()}).status, 0);
    const Result unknown = velmo({u"podcast"_s, u"episodes"_s, u"Daytime"_s});
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.err.trimmed(), u"No podcast is called “Daytime”."_s);

    const Result several = velmo({u"podcast"_s, u"download"_s, u"Night Owls"_s, u"i"_s});
    EXPECT_EQ(several.status, 1);
    EXPECT_TRUE(several.err.contains(u"matches 2 episodes"_s)) << several.err.toStdString();

    EXPECT_EQ(velmo({u"podcast"_s, u"download"_s, u"Night Owls"_s, u"p2"_s}).status, 0) << "a guid names one";

    const Result notAFeed = velmo({u"podcast"_s, u"add"_s, u"file:///etc/hostname"_s});
    EXPECT_EQ(notAFeed.status, 1);
    EXPECT_TRUE(notAFeed.err.contains(u"only http and https"_s)) << notAFeed.err.toStdString();
}

TEST_F(VelmoPodcasts, SearchAsksTheDirectory)
{
    writeFile(TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s,
              "[General]\niTunes=" + server.url(u"/"_s).toEncoded() + "\n");
    server.route(u"/search"_s, FakeResponse::ok(readFile(QStringLiteral(SONORELLE_TESTDATA) + u"/itunes/search_unicode.txt"_s)));
    const Result result = velmo({u"podcast"_s, u"search"_s, u"corner"_s, u"späti"_s, u"--json"_s});
    ASSERT_EQ(result.status, 0) << result.err.toStdString();
    const QJsonArray hits = QJsonDocument::fromJson(result.out.toUtf8()).array();
    ASSERT_EQ(hits.size(), 1);
    EXPECT_EQ(hits[0]["title"_L1].toString(), u"Corner Späti"_s);
    EXPECT_EQ(server.requests().at(0).target, "/search?term=corner%20sp%C3%A4ti&media=podcast&limit=25");

    const Result text = velmo({u"podcast"_s, u"search"_s, u"corner"_s});
    EXPECT_TRUE(text.out.contains(u"Corner Späti — The Späti Boys (349 episodes)"_s)) << text.out.toStdString();
}

TEST_F(VelmoPodcasts, EpisodesAreMarkedAndTheirFilesRemovedAsTheScreensDo)
{
    initLibrary();
    ASSERT_EQ(velmo({u"podcast"_s, u"add"_s, server.url(u"/feed.xml"_s).toString()}).status, 0);
    const QString file = root() + u"/Podcasts/Night Owls/Pilot.mp3"_s;
    const auto pilot = [] {
        const QList<Episode> episodes = PodcastStore::load().value.episodes;
        return *std::find_if(episodes.cbegin(), episodes.cend(), [](const Episode& e) { return e.guid == u"p1"; });
    };

    ASSERT_EQ(velmo({u"podcast"_s, u"download"_s, u"owls"_s, u"pilot"_s}).status, 0);
    const Result played = velmo({u"podcast"_s, u"mark"_s, u"owls"_s, u"pilot"_s, u"played"_s});
    ASSERT_EQ(played.status, 0) << played.err.toStdString();
    EXPECT_TRUE(played.out.contains(u"file was removed"_s)) << played.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_TRUE(pilot().isPlayed);
    ASSERT_EQ(velmo({u"podcast"_s, u"mark"_s, u"owls"_s, u"pilot"_s, u"unplayed"_s}).status, 0);
    EXPECT_FALSE(pilot().isPlayed);
    EXPECT_EQ(velmo({u"podcast"_s, u"mark"_s, u"owls"_s, u"pilot"_s, u"heard"_s}).status, 2);

    EXPECT_EQ(velmo({u"podcast"_s, u"delete-file"_s, u"owls"_s, u"pilot"_s}).status, 1) << "nothing to delete";
    ASSERT_EQ(velmo({u"podcast"_s, u"download"_s, u"owls"_s, u"pilot"_s}).status, 0);
    ASSERT_EQ(velmo({u"podcast"_s, u"delete-file"_s, u"owls"_s, u"pilot"_s}).status, 0);
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_EQ(pilot().downloadState, DownloadState::notDownloaded);

    ASSERT_EQ(velmo({u"podcast"_s, u"download"_s, u"owls"_s, u"pilot"_s}).status, 0);
    EXPECT_EQ(velmo({u"podcast"_s, u"remove"_s, u"owls"_s}).status, 1) << "--yes is needed";
    const Result removed = velmo({u"podcast"_s, u"remove"_s, u"owls"_s, u"--yes"_s});
    ASSERT_EQ(removed.status, 0) << removed.err.toStdString();
    EXPECT_TRUE(removed.out.contains(u"1 downloaded file removed"_s)) << removed.out.toStdString();
    EXPECT_FALSE(QFileInfo::exists(file));
    EXPECT_TRUE(PodcastStore::load().value.podcasts.isEmpty());
}

TEST_F(VelmoPodcasts, SubscriptionsMoveInAndOutAsOPML)
{
    initLibrary();
    const QString feedURL = server.url(u"/feed.xml"_s).toString();
    // One app writes a flat list with `text` only; another groups feeds in folders with titles.
    writeFile(stores.folder() + u"/flat.opml"_s,
              "<?xml version=\"1.0\"?><opml version=\"1.0\"><head><title>Export</title></head><body>"
              "<outline type=\"rss\" text=\"Night Owls\" xmlUrl=\"" + feedURL.toUtf8() + "\"/>"
              "<outline type=\"rss\" text=\"Gone\" xmlUrl=\"" + server.url(u"/missing.xml"_s).toEncoded() + "\"/>"
              "</body></opml>");
    writeFile(stores.folder() + u"/folders.opml"_s,
              "<opml version=\"2.0\"><body><outline text=\"Science\"><outline title=\"Night Owls\" text=\"NO\" "
              "type=\"rss\" xmlUrl=\"" + feedURL.toUtf8() + "\"/></outline></body></opml>");
    server.route(u"/missing.xml"_s, FakeResponse::withStatus(404));

    const Result imported = velmo({u"podcast"_s, u"import-opml"_s, stores.folder() + u"/flat.opml"_s});
    EXPECT_EQ(imported.status, 1) << "one feed could not be read";
    EXPECT_TRUE(imported.out.contains(u"Subscribed to 1 podcast; 0 already subscribed, 1 could not be read."_s))
        << imported.out.toStdString();
    EXPECT_TRUE(imported.err.contains(u"Not subscribed to “Gone”"_s)) << imported.err.toStdString();
    const Result again = velmo({u"podcast"_s, u"import-opml"_s, stores.folder() + u"/folders.opml"_s});
    EXPECT_EQ(again.status, 0);
    EXPECT_TRUE(again.out.contains(u"0 podcasts; 1 already subscribed"_s)) << again.out.toStdString();
    EXPECT_EQ(PodcastStore::load().value.podcasts.size(), 1);

    const QString exported = stores.folder() + u"/out.opml"_s;
    ASSERT_EQ(velmo({u"podcast"_s, u"export-opml"_s, exported}).status, 0);
    const QList<OPML::Feed> feeds = OPML::parse(readFile(exported));
    ASSERT_EQ(feeds.size(), 1);
    EXPECT_EQ(feeds.at(0).url, QUrl(feedURL));
    EXPECT_EQ(feeds.at(0).title, u"Night Owls"_s);

    writeFile(stores.folder() + u"/page.opml"_s, "<html><body>not a list</body></html>");
    EXPECT_EQ(velmo({u"podcast"_s, u"import-opml"_s, stores.folder() + u"/page.opml"_s}).err.trimmed(),
              u"The file is not an OPML subscription list."_s);
}

TEST_F(VelmoPodcasts, AnErrorPageIsNotDownloadedAsTheEpisode)
{
    initLibrary();
    server.route(u"/media/pilot.mp3"_s, FakeResponse::withStatus(404, "<h1>Not Found</h1>"));
    ASSERT_EQ(velmo({u"podcast"_s, u"add"_s, server.url(u"/feed.xml"_s).toString()}).status, 0);
    const Result failed = velmo({u"podcast"_s, u"download"_s, u"owls"_s, u"pilot"_s});
    EXPECT_EQ(failed.status, 1);
    EXPECT_TRUE(failed.err.contains(u"the server answered 404 (not found)"_s)) << failed.err.toStdString();
    EXPECT_FALSE(QFileInfo::exists(root() + u"/Podcasts/Night Owls/Pilot.mp3"_s));
    const QList<Episode> episodes = PodcastStore::load().value.episodes;
    EXPECT_TRUE(std::none_of(episodes.cbegin(), episodes.cend(),
                             [](const Episode& e) { return e.downloadState == DownloadState::downloaded || e.localURL; }));
}

TEST_F(VelmoPodcasts, AnOPMLFileOverTheLimitIsRefusedNotCut)
{
    initLibrary();
    // The feed comes first, so a reader that stopped at the limit would have subscribed to it.
    const QByteArray head = "<opml version=\"2.0\"><body><outline type=\"rss\" text=\"Night Owls\" xmlUrl=\""
                          + server.url(u"/feed.xml"_s).toEncoded() + "\"/>";
    const QString oversized = stores.folder() + u"/huge.opml"_s;
    writeFile(oversized, head + "<!--" + QByteArray(OPML::maximumFileBytes, ' ') + "--></body></opml>");
    const Result refused = velmo({u"podcast"_s, u"import-opml"_s, oversized});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.err.trimmed(),
              u"“%1” is larger than 16 MiB, too large for a subscription list; nothing was imported."_s.arg(oversized));
    EXPECT_EQ(server.requestCount(u"/feed.xml"_s), 0);
    EXPECT_TRUE(PodcastStore::load().value.podcasts.isEmpty());

    const Result device = velmo({u"podcast"_s, u"import-opml"_s, u"/dev/zero"_s});
    EXPECT_EQ(device.status, 1);
    EXPECT_TRUE(device.err.contains(u"is not a regular file"_s)) << device.err.toStdString();
}
