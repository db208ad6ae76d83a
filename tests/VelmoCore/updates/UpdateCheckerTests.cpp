#include "library/BlockingWait.h"
#include "support/FakeClock.h"
#include "support/FakeHttpServer.h"
#include "support/TestEnvironment.h"
#include "updates/UpdateChecker.h"

#include <QFile>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray feed(const QByteArray& items)
{
    return "<?xml version=\"1.0\"?><rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">"
           "<channel><title>Sonorelle releases</title>"
         + items + "</channel></rss>";
}

// A services.conf naming the release feed, for the life of the object.
class UpdateAddress {
public:
    explicit UpdateAddress(const QUrl& address)
    {
        writeFile(path(), "[General]\nupdates=" + address.toEncoded() + "\n");
    }
    ~UpdateAddress() { QFile::remove(path()); }

private:
    static QString path() { return TestEnvironment::configHome() + u"/Sonorelle/services.conf"_s; }
};

} // namespace

TEST(ReleaseFeed, VersionsCompareByTheirNumbersWithPreReleasesFirst)
{
    const QList<std::tuple<QString, QString, int>> table{
        {u"1.10"_s, u"1.9"_s, 1},   {u"1.2"_s, u"1.2.0"_s, 0},      {u"1.2.1"_s, u"1.2"_s, 1},
        {u"2.0-beta"_s, u"2.0"_s, -1}, {u"2.0-beta2"_s, u"2.0-beta1"_s, 1}, {u"0.9.9"_s, u"1.0"_s, -1},
        {u"10.0"_s, u"9.99.99"_s, 1},
    };
    for (const auto& [a, b, order] : table) {
        EXPECT_EQ(std::clamp(ReleaseFeed::compareVersions(a, b), -1, 1), order) << qPrintable(a + u" vs " + b);
        EXPECT_EQ(std::clamp(ReleaseFeed::compareVersions(b, a), -1, 1), -order) << qPrintable(b + u" vs " + a);
    }
    EXPECT_EQ(ReleaseFeed::versionIn(u"Sonorelle 1.4.2 is out"_s), u"1.4.2"_s);
    EXPECT_EQ(ReleaseFeed::versionIn(u"Sonorelle 2.0-rc1"_s), u"2.0-rc1"_s);
    EXPECT_EQ(ReleaseFeed::versionIn(u"Version 3 at last"_s), std::nullopt) << "a lone number is no version";
}

TEST(ReleaseFeed, ItemsGiveTheirVersionFromTheElementOrTheTitle)
{
    const QList<ReleaseFeed::Release> releases = ReleaseFeed::parse(feed(
        "<item><title>Autumn release</title><sparkle:version>1.10</sparkle:version>"
        "<link>https://example.org/1.10</link><pubDate>Tue, 24 Nov 2026 10:00:00 +0000</pubDate></item>"
        "<item><title>Sonorelle 1.9</title><enclosure url=\"https://example.org/1.9.tar.gz\"/></item>"
        "<item><title>News without a version</title><guid>https://example.org/news</guid></item>"));
    ASSERT_EQ(releases.size(), 2);
    EXPECT_EQ(releases.at(0).version, u"1.10"_s);
    EXPECT_EQ(releases.at(0).link, QUrl(u"https://example.org/1.10"_s));
    EXPECT_EQ(releases.at(1).link, QUrl(u"https://example.org/1.9.tar.gz"_s)) << "the enclosure stands in for a link";
    EXPECT_EQ(ReleaseFeed::newest(releases).version, u"1.10"_s);

    const auto kindOf = [](const QByteArray& xml) {
        try {
            ReleaseFeed::parse(xml);
        } catch (const ReleaseFeed::FeedError& error) {
            return std::optional(error.kind());
        }
        return std::optional<ReleaseFeed::FeedError::Kind>();
    };
    EXPECT_EQ(kindOf("<!DOCTYPE html><html><body>Not here</body></html>"), ReleaseFeed::FeedError::Kind::notAFeed);
    EXPECT_EQ(kindOf("not xml at all"), ReleaseFeed::FeedError::Kind::notAFeed);
    EXPECT_EQ(kindOf(feed("<item><title>Hello</title></item>")), ReleaseFeed::FeedError::Kind::noVersions);
}

TEST(UpdateChecker, TheFeedIsAskedAndTheAnswerSaidInWords)
{
    FakeHttpServer server;
    QByteArray body = feed("<item><title>Sonorelle 1.3.0</title><link>https://example.org/1.3</link></item>");
    server.route(u"/releases.xml"_s, [&body](const FakeRequest&) { return FakeResponse::ok(body, "application/rss+xml"); });
    server.route(u"/page"_s, FakeResponse::ok("<html><body>Moved</body></html>", "text/html"));
    FakeResponse stalled = FakeResponse::ok(body);
    stalled.delay = std::chrono::seconds(5);
    server.route(u"/stalled"_s, stalled);
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = std::make_shared<FakeClock>(),
                                                          .requestTimeout = std::chrono::milliseconds(300)}};
    const auto ask = [&client](const QString& version) {
        return BlockingWait::wait(UpdateChecker::check(version, client));
    };
    const auto failure = [&ask](const QString& version) {
        try {
            ask(version);
        } catch (const UpdateChecker::CheckError& error) {
            return std::pair(error.kind(), error.message());
        }
        return std::pair(UpdateChecker::CheckError::Kind::notConfigured, u"no failure"_s);
    };

    EXPECT_EQ(failure(u"1.2.0"_s), std::pair(UpdateChecker::CheckError::Kind::notConfigured,
                                             u"No update address is configured."_s));
    {
        UpdateAddress address(server.url(u"/releases.xml"_s));
        const UpdateChecker::Answer newer = ask(u"1.2.0"_s);
        EXPECT_TRUE(newer.isNewer);
        EXPECT_EQ(newer.message(), u"Sonorelle 1.3.0 is available (you have 1.2.0)."_s);
        EXPECT_EQ(newer.newest.link, QUrl(u"https://example.org/1.3"_s));
        EXPECT_EQ(ask(u"1.3"_s).message(), u"Sonorelle 1.3 is the newest version."_s);
        EXPECT_FALSE(ask(u"1.4.0"_s).isNewer) << "a development build is newer than any release";
        body = feed("<item><title>Spring cleaning</title></item>");
        EXPECT_EQ(failure(u"1.2.0"_s).first, UpdateChecker::CheckError::Kind::invalidFeed);
    }
    {
        UpdateAddress address(server.url(u"/page"_s));
        EXPECT_EQ(failure(u"1.2.0"_s).second,
                  u"The update address did not answer with a release feed (RSS) but with something else."_s);
    }
    {
        UpdateAddress address(server.url(u"/stalled"_s));
        const auto [kind, message] = failure(u"1.2.0"_s);
        EXPECT_EQ(kind, UpdateChecker::CheckError::Kind::networkError);
        EXPECT_TRUE(message.startsWith(u"The update address could not be read: "_s)) << qPrintable(message);
    }
}
