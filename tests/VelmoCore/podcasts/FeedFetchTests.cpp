#include "podcasts/RSSParser.h"
#include "library/BlockingWait.h"
#include "support/FakeHttpServer.h"
#include "support/PodcastFeeds.h"
#include "support/TestEnvironment.h"

#include <QTcpServer>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using RSSParser::ParseError;

namespace {

class FeedFetch : public ::testing::Test {
protected:
    RSSParser::Feed fetch(const QUrl& url) { return BlockingWait::wait(RSSParser::fetch(id, url)); }

    ParseError::Kind failureOf(const QUrl& url)
    {
        try {
            fetch(url);
        } catch (const ParseError& error) {
            lastError = error.message();
            return error.kind();
        }
        ADD_FAILURE() << "the fetch succeeded";
        return ParseError::Kind::noEnclosures;
    }

    const QUuid id = QUuid::createUuid();
    const QByteArray feed = rssFeed(u"Fetched"_s, {{.title = u"One"_s, .enclosure = u"https://e.org/1.mp3"_s}});
    FakeHttpServer server;
    QString lastError;
};

QUrl closedPort()
{
    QTcpServer probe;
    probe.listen(QHostAddress::LocalHost, 0);
    const quint16 port = probe.serverPort();
    probe.close();
    return QUrl(u"http://127.0.0.1:%1/feed.xml"_s.arg(port));
}

} // namespace

TEST_F(FeedFetch, SendsTheUserAgentWithTheContactAndParses)
{
    const QString servicesFile = TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s;
    writeFile(servicesFile, "[General]\ncontact=podcasts@example.org\n");
    server.route(u"/feed.xml"_s, FakeResponse::ok(feed, "application/rss+xml"));
    const RSSParser::Feed result = fetch(server.url(u"/feed.xml?token=1"_s));
    QFile::remove(servicesFile);

    EXPECT_EQ(result.podcast.id, id);
    EXPECT_EQ(result.podcast.feedURL, server.url(u"/feed.xml?token=1"_s));
    EXPECT_EQ(result.episodes.size(), 1);
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests()[0].header("User-Agent"), "Velmo/1.0 (podcasts@example.org)");
}

TEST_F(FeedFetch, AnErrorStatusSaysTheServerHasNoFeedThereWhateverTheBody)
{
    server.route(u"/gone"_s, FakeResponse::withStatus(404, "<html><body><h1>Not Found</h1></body></html>"));
    try {
        fetch(server.url(u"/gone"_s));
        ADD_FAILURE() << "the fetch succeeded";
    } catch (const ParseError& error) {
        EXPECT_EQ(error.kind(), ParseError::Kind::httpError);
        EXPECT_EQ(error.httpStatus(), 404);
        EXPECT_EQ(error.detail(), u"not found"_s);
        EXPECT_EQ(error.message(), u"The server has no feed at this address."_s) << "the screens get no number";
    }
    server.route(u"/odd"_s, FakeResponse::withStatus(500, feed));
    EXPECT_EQ(failureOf(server.url(u"/odd"_s)), ParseError::Kind::httpError) << "even a feed in an error page";

    server.route(u"/moved"_s, FakeResponse::redirect(server.url(u"/feed.xml"_s), 301));
    server.route(u"/feed.xml"_s, FakeResponse::ok(feed));
    const RSSParser::Feed redirected = fetch(server.url(u"/moved"_s));
    EXPECT_EQ(redirected.podcast.feedURL, server.url(u"/moved"_s)) << "the address asked for stays";
    EXPECT_EQ(redirected.episodes.size(), 1);
}

TEST_F(FeedFetch, AServerThatTricklesIsGivenUpAtTheDeadline)
{
    // A byte every 20 ms never lets the minute of silence run out.
    server.route(u"/trickle"_s, FakeResponse::slow(feed, 1, std::chrono::milliseconds(20)));
    try {
        BlockingWait::wait(RSSParser::fetch(id, server.url(u"/trickle"_s), {.deadline = std::chrono::milliseconds(300)}));
        ADD_FAILURE() << "the fetch succeeded";
    } catch (const ParseError& error) {
        EXPECT_EQ(error.kind(), ParseError::Kind::networkError);
        EXPECT_EQ(error.message(), u"The feed could not be loaded: the server had not sent the whole answer after "
                                   u"300 ms."_s);
    }
}

TEST_F(FeedFetch, TransportFailuresAreNetworkErrors)
{
    EXPECT_EQ(failureOf(closedPort()), ParseError::Kind::networkError);
    EXPECT_TRUE(lastError.startsWith(u"The feed could not be loaded: "_s)) << lastError.toStdString();

    server.route(u"/cut"_s, FakeResponse::cutAfter(feed, feed.size() / 2));
    EXPECT_EQ(failureOf(server.url(u"/cut"_s)), ParseError::Kind::networkError);

    EXPECT_EQ(failureOf(QUrl::fromLocalFile(u"/etc/passwd"_s)), ParseError::Kind::networkError);
    EXPECT_TRUE(lastError.contains(u"http"_s)) << lastError.toStdString();
    EXPECT_EQ(failureOf(QUrl(u"ftp://127.0.0.1/feed.xml"_s)), ParseError::Kind::networkError);
}

TEST_F(FeedFetch, AFeedThatNeverEndsIsRefusedPastTheLimit)
{
    FakeResponse endless = FakeResponse::ok("<rss><channel><item><title>" + QByteArray(1 << 20, 'x') + "</title></item>");
    endless.endless = true;
    server.route(u"/endless"_s, endless);
    EXPECT_EQ(failureOf(server.url(u"/endless"_s)), ParseError::Kind::tooLarge);
    EXPECT_EQ(lastError, u"The feed is larger than 64 MiB, so it was not read."_s);

    // One that announces its excess is refused before its body is read.
    FakeResponse announced = FakeResponse::slow(feed, 1024, std::chrono::milliseconds(50));
    announced.sendContentLength = false;
    announced.headers.append({"Content-Length", QByteArray::number(RSSParser::maximumFeedBytes + 1)});
    server.route(u"/announced"_s, announced);
    EXPECT_EQ(failureOf(server.url(u"/announced"_s)), ParseError::Kind::tooLarge);
}

TEST_F(FeedFetch, ALargeFeedBelowTheLimitIsRead)
{
    // About 50 MB: long show notes, as some feeds carry for every episode of many years.
    const QString notes = u"<p>"_s + QString(u"Show notes. "_s).repeated(800) + u"</p>"_s;
    QList<FeedItem> items;
    for (int i = 0; i < 5000; ++i) {
        items.append({.title = u"Episode %1"_s.arg(i), .guid = u"g%1"_s.arg(i),
                      .enclosure = u"https://cdn.example.org/%1.mp3"_s.arg(i), .description = notes});
    }
    const QByteArray large = rssFeed(u"Large"_s, items);
    ASSERT_GT(large.size(), 45'000'000);
    ASSERT_LT(large.size(), RSSParser::maximumFeedBytes);
    server.route(u"/large"_s, FakeResponse::ok(large));
    const RSSParser::Feed result = fetch(server.url(u"/large"_s));
    ASSERT_EQ(result.episodes.size(), 5000);
    EXPECT_EQ(result.episodes.constLast().guid, u"g4999"_s);
    EXPECT_EQ(result.episodes.constLast().episodeDescription, notes);
}
