#include "podcasts/PodcastSearchClient.h"
#include "library/BlockingWait.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnvironment.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using PodcastSearchClient::SearchError;

namespace {

QByteArray answer(const QString& name)
{
    return readFile(QStringLiteral(SONORELLE_TESTDATA) + u"/itunes/"_s + name);
}

// The directory is a fake server, named in the installation's services.conf.
class PodcastSearch : public ::testing::Test {
protected:
    void SetUp() override { pointDirectoryAt(server.url(u"/"_s)); }
    void TearDown() override { QFile::remove(servicesFile()); }

    static QString servicesFile() { return TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s; }
    static void pointDirectoryAt(const QUrl& base)
    {
        writeFile(servicesFile(), "[General]\niTunes=" + base.toEncoded() + "\n");
    }

    QList<PodcastSearchResult> search(const QString& query)
    {
        return BlockingWait::wait(PodcastSearchClient::search(query));
    }
    SearchError::Kind failureOf(const QString& query)
    {
        try {
            search(query);
        } catch (const SearchError& error) {
            return error.kind();
        }
        ADD_FAILURE() << "the search succeeded";
        return SearchError::Kind::networkError;
    }
    void answerWith(const QByteArray& body) { server.route(u"/search"_s, FakeResponse::ok(body, "text/javascript")); }

    FakeHttpServer server;
};

} // namespace

TEST_F(PodcastSearch, AsksForPodcastsWithTheWholeQuery)
{
    EXPECT_TRUE(search(u"   \t"_s).isEmpty());
    EXPECT_TRUE(search(QString()).isEmpty());
    EXPECT_TRUE(server.requests().isEmpty()) << "a blank query asks nothing";

    answerWith(answer(u"search_empty.txt"_s));
    EXPECT_TRUE(search(u" Fish & Chips + C++ ü "_s).isEmpty());
    ASSERT_EQ(server.requests().size(), 1);
    const FakeRequest request = server.requests()[0];
    EXPECT_EQ(request.target, "/search?term=%20Fish%20%26%20Chips%20%2B%20C%2B%2B%20%C3%BC%20&media=podcast&limit=25");
    EXPECT_EQ(request.header("User-Agent"), "Velmo/1.0") << "no contact part here";

    pointDirectoryAt(server.url(u"/directory/"_s));
    server.route(u"/directory/search"_s, FakeResponse::ok(answer(u"search_empty.txt"_s)));
    search(u"chapo"_s);
    EXPECT_EQ(server.requestCount(u"/directory/search"_s), 1) << "a base address with a path keeps it";
}

TEST_F(PodcastSearch, RealAnswersMapToResultsInTheirOrder)
{
    answerWith(answer(u"search_10.txt"_s));
    const QList<PodcastSearchResult> results = search(u"chapo"_s);
    ASSERT_EQ(results.size(), 10);
    EXPECT_EQ(results[0].title, u"Chapo"_s);
    EXPECT_EQ(results[0].author, u"VICE"_s);
    EXPECT_EQ(results[0].feedURL, QUrl(u"https://feeds.acast.com/public/shows/7540dfb3-3c5f-43ae-91d3-aad22b2ede46"_s));
    EXPECT_EQ(results[0].episodeCount, 17);
    EXPECT_TRUE(results[0].artworkURL && results[0].artworkURL->toString().contains(u"600x600"_s));
    EXPECT_FALSE(results[0].genres.isEmpty());
    EXPECT_EQ(results[9].title, u"EL CHAPO"_s);

    answerWith(answer(u"search_unicode.txt"_s));
    const QList<PodcastSearchResult> unicode = search(u"Corner Späti"_s);
    ASSERT_EQ(unicode.size(), 1);
    EXPECT_EQ(unicode[0].id, 1454202971);
    EXPECT_EQ(unicode[0].author, u"The Späti Boys"_s);
}

TEST_F(PodcastSearch, HitsWithoutAnIdOrAFeedAreLeftOut)
{
    const QList<PodcastSearchResult> results = PodcastSearchClient::parseResults(R"({"results":[
        {"trackId": 1, "trackName": "Complete", "artistName": "A", "feedUrl": "https://e.org/1.xml",
         "artworkUrl600": "https://e.org/1.jpg", "trackCount": 12, "genres": ["Comedy", "Podcasts"]},
        {"trackId": 2, "trackName": "No feed"},
        {"trackId": "3", "trackName": "Id as text", "feedUrl": "https://e.org/3.xml"},
        {"trackId": 4.5, "trackName": "Fractional id", "feedUrl": "https://e.org/4.xml"},
        {"trackName": "No id", "feedUrl": "https://e.org/5.xml"},
        {"trackId": 6, "trackName": "Bad feed", "feedUrl": "http://exa mple.org/feed"},
        {"trackId": 7, "feedUrl": "https://e.org/7.xml", "artworkUrl600": "http://[bad", "genres": ["News", 3]},
        {"trackId": 8, "trackName": 42, "feedUrl": "https://e.org/8.xml", "trackCount": "many"}
    ]})");
    ASSERT_EQ(results.size(), 3);
    EXPECT_EQ(results[0], (PodcastSearchResult{.id = 1, .title = u"Complete"_s, .author = u"A"_s,
                                               .feedURL = QUrl(u"https://e.org/1.xml"_s),
                                               .artworkURL = QUrl(u"https://e.org/1.jpg"_s), .episodeCount = 12,
                                               .genres = {u"Comedy"_s, u"Podcasts"_s}}));
    EXPECT_EQ(results[1], (PodcastSearchResult{.id = 7, .title = u"Unknown Podcast"_s,
                                               .feedURL = QUrl(u"https://e.org/7.xml"_s)}));
    EXPECT_EQ(results[2].title, u"Unknown Podcast"_s);
    EXPECT_EQ(results[2].episodeCount, 0);
}

TEST_F(PodcastSearch, AnswersOfTheWrongShapeAreInvalid)
{
    for (const QByteArray& body : {QByteArray("<html>Service unavailable</html>"), QByteArray("[]"),
                                   QByteArray(R"({"resultCount":0})"), QByteArray(R"({"results":{}})"),
                                   QByteArray(R"({"results":[1, {"trackId": 1}]})"), QByteArray()}) {
        answerWith(body);
        EXPECT_EQ(failureOf(u"x"_s), SearchError::Kind::invalidResponse) << body.constData();
    }
}

TEST_F(PodcastSearch, AnUnreachableDirectoryIsANetworkError)
{
    server.route(u"/search"_s, FakeResponse::cutAfter(answer(u"search_10.txt"_s), 100));
    EXPECT_EQ(failureOf(u"chapo"_s), SearchError::Kind::networkError);

    server.route(u"/search"_s, FakeResponse::withStatus(503, answer(u"search_unicode.txt"_s)));
    EXPECT_EQ(search(u"x"_s).size(), 1) << "the status is not looked at";
}
