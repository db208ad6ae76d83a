#include "metadata/MetadataHTTPClient.h"
#include "support/AsyncTesting.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"

#include <QTest>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using HTTPError = MetadataHTTPClient::HTTPError;
using Durations = QList<MetadataHTTPClient::Duration>;

namespace {

bool eventually(const std::function<bool()>& condition)
{
    return QTest::qWaitFor(condition, 5000);
}

FakeResponse busy(const QByteArray& retryAfter = {}, int status = 503)
{
    FakeResponse response = FakeResponse::withStatus(status, "<html><body>Busy</body></html>");
    if (!retryAfter.isEmpty())
        response.headers.append({"Retry-After", retryAfter});
    return response;
}

// The headers of a good answer, then the connection goes.
FakeResponse droppedMidway()
{
    FakeResponse response = FakeResponse::ok("{\"never\":\"complete\"}", "application/json");
    response.dropAfter = 0;
    return response;
}

class MetadataHTTPClientTest : public ::testing::Test {
protected:
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};

    QUrl musicBrainz(const QString& path) const { return services.musicBrainz.url(path); }
    QUrl coverArt(const QString& path) const { return services.coverArt.url(path); }
};

} // namespace

TEST(MetadataHTTPClientRules, OnlyTheMusicBrainzDomainAndItsSubdomainsAreLimited)
{
    const QUrl service(u"https://musicbrainz.org"_s);
    const auto limited = [&service](const QString& url) {
        return MetadataHTTPClient::isRateLimited(QUrl(url), service);
    };
    EXPECT_TRUE(limited(u"https://musicbrainz.org/ws/2/release?fmt=json"_s));
    EXPECT_TRUE(limited(u"https://beta.musicbrainz.org/ws/2/release"_s));
    EXPECT_TRUE(limited(u"https://MusicBrainz.ORG/ws/2/release"_s));
    EXPECT_TRUE(limited(u"https://musicbrainz.org:8443/ws/2/release"_s)) << "the default address names no port";
    EXPECT_FALSE(limited(u"https://coverartarchive.org/release/x/front"_s));
    EXPECT_FALSE(limited(u"https://musicbrainz.org.example.com/ws/2/release"_s)) << "the domain in the middle";
    EXPECT_FALSE(limited(u"https://notmusicbrainz.org/ws/2/release"_s)) << "its letters without the dot";
    EXPECT_FALSE(limited(u"file:///ws/2/release"_s)) << "no host";
    EXPECT_FALSE(MetadataHTTPClient::isRateLimited(QUrl(), service));

    const QUrl mirror(u"http://127.0.0.1:8123"_s);
    EXPECT_TRUE(MetadataHTTPClient::isRateLimited(QUrl(u"http://127.0.0.1:8123/ws/2/discid/x"_s), mirror));
    EXPECT_FALSE(MetadataHTTPClient::isRateLimited(QUrl(u"http://127.0.0.1:8124/release/x/front"_s), mirror))
        << "an address with a port limits that port only";
}

TEST(MetadataHTTPClientRules, RetryAfterIsDecimalSecondsCappedAt15)
{
    const auto delay = [](std::optional<QByteArray> header) { return MetadataHTTPClient::retryAfterDelay(header); };
    EXPECT_EQ(delay(std::nullopt), 2000ms);
    EXPECT_EQ(delay("120"), 15000ms);
    EXPECT_EQ(delay("1.5"), 1500ms);
    EXPECT_EQ(delay("0"), 0ms);
    EXPECT_EQ(delay("2.0001"), 2001ms) << "never shorter than asked";
    EXPECT_EQ(delay("Wed, 21 Oct 2015 07:28:00 GMT"), 2000ms) << "the date form";
    EXPECT_EQ(delay(" 3"), 2000ms) << "leading white space";
    EXPECT_EQ(delay("-4"), 0ms);
    EXPECT_EQ(delay("1e999"), 15000ms) << "beyond a double";
}

TEST(MetadataHTTPClientRules, OnlyConnectionFailuresAreTransient)
{
    for (const auto error : {QNetworkReply::RemoteHostClosedError, QNetworkReply::SslHandshakeFailedError,
                             QNetworkReply::HostNotFoundError, QNetworkReply::TemporaryNetworkFailureError})
        EXPECT_TRUE(MetadataHTTPClient::isTransient(error)) << error;
    for (const auto error : {QNetworkReply::OperationCanceledError, QNetworkReply::ContentNotFoundError,
                             QNetworkReply::TooManyRedirectsError})
        EXPECT_FALSE(MetadataHTTPClient::isTransient(error)) << error;
}

TEST_F(MetadataHTTPClientTest, SendsTheUserAgentAndReturnsTheBodyWithItsType)
{
    services.coverArt.route(u"/release/r/front"_s, FakeResponse::ok("\xFF\xD8\xFFpicture", "Image/JPEG; charset=binary"));
    const MetadataHTTPClient::Response response = BlockingWait::wait(client.getResponse(coverArt(u"/release/r/front"_s)));
    EXPECT_EQ(response.data, QByteArray("\xFF\xD8\xFFpicture"));
    EXPECT_EQ(response.mimeType, u"image/jpeg"_s);
    ASSERT_EQ(services.coverArt.requests().size(), 1);
    EXPECT_EQ(services.coverArt.requests().constFirst().header("User-Agent"),
              QByteArray("Velmo/1.0 (") + FakeServices::contact + ")");

    FakeResponse untyped = FakeResponse::ok("body");
    untyped.headers.clear();
    services.coverArt.route(u"/untyped"_s, untyped);
    EXPECT_EQ(BlockingWait::wait(client.getResponse(coverArt(u"/untyped"_s))).mimeType, std::nullopt);
}

TEST_F(MetadataHTTPClientTest, SimultaneousMusicBrainzCallsGoOut1point1SecondsApart)
{
    auto manual = std::make_shared<FakeClock>(FakeClock::Mode::manual);
    MetadataHTTPClient limited({.clock = manual});
    services.musicBrainz.route(u"/ws/2/release"_s, FakeResponse::ok("{}", "application/json"));
    const QUrl url = musicBrainz(u"/ws/2/release?fmt=json"_s);
    const auto sent = [this] { return services.musicBrainz.requestCount(u"/ws/2/release"_s); };

    auto first = limited.get(url);
    auto second = limited.get(url);
    auto third = limited.get(url);
    ASSERT_TRUE(eventually([&] { return first.isReady() && manual->sleeps().size() == 2; })) << "the first goes out at once";
    EXPECT_EQ(manual->sleeps(), (Durations{1100ms, 2200ms})) << "each slot is taken before waiting";

    manual->advance(1099ms);
    QTest::qWait(50);
    EXPECT_EQ(sent(), 1) << "not a moment early";
    manual->advance(1ms);
    EXPECT_EQ(BlockingWait::wait(std::move(second)), QByteArray("{}"));
    QTest::qWait(50);
    EXPECT_FALSE(third.isReady());
    EXPECT_EQ(sent(), 2);
    manual->advance(1100ms);
    ASSERT_TRUE(eventually([&] { return third.isReady(); }));
    EXPECT_EQ(sent(), 3);
}

TEST_F(MetadataHTTPClientTest, OtherServicesAreNotHeldBackByTheRateLimit)
{
    auto manual = std::make_shared<FakeClock>(FakeClock::Mode::manual);
    MetadataHTTPClient limited({.clock = manual});
    services.musicBrainz.route(u"/ws/2/release"_s, FakeResponse::ok("{}"));
    services.coverArt.route(u"/release/r/front"_s, FakeResponse::ok("\xFF\xD8\xFF"));

    auto first = limited.get(musicBrainz(u"/ws/2/release"_s));
    auto waiting = limited.get(musicBrainz(u"/ws/2/release"_s));
    auto cover = limited.get(coverArt(u"/release/r/front"_s));
    ASSERT_TRUE(eventually([&] { return cover.isReady() && first.isReady(); }));
    EXPECT_FALSE(waiting.isReady());
    manual->advance(1100ms);
    EXPECT_EQ(BlockingWait::wait(std::move(waiting)), QByteArray("{}"));
    EXPECT_EQ(manual->sleeps(), Durations{1100ms}) << "the archive took no slot";
}

TEST_F(MetadataHTTPClientTest, MusicBrainzCallsAreSpacedOnTheRealClock)
{
    MetadataHTTPClient realTime;
    services.musicBrainz.route(u"/ws/2/discid/x"_s, FakeResponse::ok("{}"));
    auto first = realTime.get(musicBrainz(u"/ws/2/discid/x"_s));
    auto second = realTime.get(musicBrainz(u"/ws/2/discid/x"_s));
    BlockingWait::wait(std::move(first));
    BlockingWait::wait(std::move(second));
    const QList<FakeRequest> requests = services.musicBrainz.requests();
    ASSERT_EQ(requests.size(), 2);
    const auto gap = std::chrono::duration_cast<std::chrono::milliseconds>(requests.at(1).receivedAt - requests.at(0).receivedAt);
    // The sends are 1.1 s apart; arrival can differ by the first connection's set-up.
    EXPECT_GE(gap, 1050ms);
    EXPECT_LT(gap, 3000ms);
}

TEST_F(MetadataHTTPClientTest, ABusyServiceThenALostConnectionThenSuccess)
{
    services.coverArt.routeSequence(u"/release/r/front"_s,
                                    {busy("1.5"), droppedMidway(), FakeResponse::ok("\x89PNG\r\n\x1A\n", "image/png")});
    const QByteArray body = BlockingWait::wait(client.get(coverArt(u"/release/r/front"_s)));
    EXPECT_EQ(body, QByteArray("\x89PNG\r\n\x1A\n"));
    EXPECT_EQ(services.coverArt.requestCount(u"/release/r/front"_s), 3);
    EXPECT_EQ(clock->sleeps(), (Durations{1500ms, 2000ms})) << "Retry-After, then the second pause of two seconds";
}

TEST_F(MetadataHTTPClientTest, ThreeBusyAnswersAreRateLimitedAfterThreeSends)
{
    services.musicBrainz.routeSequence(u"/ws/2/release"_s,
                                       {busy("120"), busy("Wed, 21 Oct 2015 07:28:00 GMT", 429), busy("1.5")});
    const HTTPError error = awaitFailure<HTTPError>(client.get(musicBrainz(u"/ws/2/release"_s)));
    EXPECT_EQ(error.kind(), HTTPError::Kind::rateLimited);
    EXPECT_EQ(error.message(), u"The service is busy (rate limited). Try again in a moment."_s);
    EXPECT_EQ(services.musicBrainz.requestCount(u"/ws/2/release"_s), 3);
    // Fifteen seconds at most, and two for a date; no pause after the last send. The slot of
    // each retry had passed by then.
    EXPECT_EQ(clock->sleeps(), (Durations{15000ms, 2000ms}));
}

TEST_F(MetadataHTTPClientTest, NotFoundAndOtherStatusesAreNeverRetried)
{
    services.coverArt.route(u"/missing"_s, FakeResponse::withStatus(404, "<html>Not Found</html>"));
    services.coverArt.route(u"/broken"_s, FakeResponse::withStatus(500));
    services.coverArt.route(u"/forbidden"_s, FakeResponse::withStatus(403));

    const HTTPError missing = awaitFailure<HTTPError>(client.get(coverArt(u"/missing"_s)));
    EXPECT_EQ(missing.kind(), HTTPError::Kind::notFound);
    EXPECT_EQ(missing.message(), u"Not found."_s);

    const HTTPError broken = awaitFailure<HTTPError>(client.get(coverArt(u"/broken"_s)));
    EXPECT_EQ(broken.kind(), HTTPError::Kind::serverError);
    EXPECT_EQ(broken.statusCode(), 500);
    EXPECT_EQ(broken.message(), u"The service returned an error (HTTP 500)."_s);

    EXPECT_EQ(awaitFailure<HTTPError>(client.get(coverArt(u"/forbidden"_s))).statusCode(), 403);

    EXPECT_EQ(services.coverArt.requests().size(), 3) << "one send each";
    EXPECT_TRUE(clock->sleeps().isEmpty());
}

TEST_F(MetadataHTTPClientTest, TimeOutsAreRetriedTwiceThenReported)
{
    MetadataHTTPClient impatient({.clock = clock, .requestTimeout = 150ms});
    FakeResponse silent = FakeResponse::ok("late");
    silent.delay = 3s;
    services.coverArt.route(u"/slow"_s, silent);

    const HTTPError error = awaitFailure<HTTPError>(impatient.get(coverArt(u"/slow"_s)));
    EXPECT_EQ(error.kind(), HTTPError::Kind::network);
    EXPECT_EQ(error.networkError(), QNetworkReply::TimeoutError);
    EXPECT_EQ(error.message(), u"The request timed out."_s);
    EXPECT_EQ(services.coverArt.requestCount(u"/slow"_s), 3);
    EXPECT_EQ(clock->sleeps(), (Durations{1000ms, 2000ms}));
}

TEST_F(MetadataHTTPClientTest, AnUnreachableServiceIsANetworkErrorInWords)
{
    QUrl vacant = FakeServices::vacantAddress();
    vacant.setPath(u"/x"_s);
    const HTTPError error = awaitFailure<HTTPError>(client.get(vacant));
    EXPECT_EQ(error.kind(), HTTPError::Kind::network);
    EXPECT_EQ(error.networkError(), QNetworkReply::ConnectionRefusedError);
    EXPECT_FALSE(error.message().isEmpty());
    EXPECT_FALSE(error.message().contains(u"HTTP"_s));
    EXPECT_EQ(clock->sleeps(), (Durations{1000ms, 2000ms})) << "a refused connection is worth two more tries";
}

TEST_F(MetadataHTTPClientTest, AServerThatTricklesIsGivenUpAtTheDeadlineWithoutRetrying)
{
    MetadataHTTPClient patient({.clock = clock, .requestTimeout = 5s, .answerDeadline = 400ms});
    // A byte every 20 ms never lets the inactivity timer run out, and would take 4 s in all.
    services.coverArt.route(u"/trickle"_s, FakeResponse::slow(QByteArray(200, 't'), 1, 20ms));
    services.coverArt.route(u"/quick"_s, FakeResponse::ok("in time"));

    const HTTPError error = awaitFailure<HTTPError>(patient.get(coverArt(u"/trickle"_s)));
    EXPECT_EQ(error.kind(), HTTPError::Kind::tooSlow);
    EXPECT_EQ(error.message(), u"The service had not sent its whole answer after 400 ms, so the request was given up."_s);
    EXPECT_EQ(services.coverArt.requestCount(u"/trickle"_s), 1);
    EXPECT_TRUE(clock->sleeps().isEmpty()) << "a server that trickles would do so again";
    EXPECT_EQ(BlockingWait::wait(patient.get(coverArt(u"/quick"_s))), "in time");
}

TEST_F(MetadataHTTPClientTest, OnlyACallThatReachedNoServiceIsReportedUnreachable)
{
    QStringList reported;
    QObject::connect(&client, &MetadataHTTPClient::unreachable, [&reported](const QString& reason) {
        reported.append(reason);
    });
    services.coverArt.route(u"/missing"_s, FakeResponse::withStatus(404));
    services.coverArt.route(u"/broken"_s, FakeResponse::withStatus(500));
    awaitFailure<HTTPError>(client.get(coverArt(u"/missing"_s)));
    awaitFailure<HTTPError>(client.get(coverArt(u"/broken"_s)));
    EXPECT_TRUE(reported.isEmpty()) << "the service answered";

    QUrl vacant = FakeServices::vacantAddress();
    vacant.setPath(u"/x"_s);
    const HTTPError error = awaitFailure<HTTPError>(client.get(vacant));
    EXPECT_EQ(reported, QStringList{error.message()}) << "once per call, after its retries";
}

TEST_F(MetadataHTTPClientTest, AnAnswerOverTheLimitIsRefusedWithoutRetrying)
{
    MetadataHTTPClient frugal({.clock = clock, .maximumBodySize = 1024});
    services.coverArt.route(u"/fits"_s, FakeResponse::ok(QByteArray(1024, 'z')));
    services.coverArt.route(u"/declared"_s, FakeResponse::ok(QByteArray(4096, 'x')));
    FakeResponse streamed = FakeResponse::ok(QByteArray(64 * 1024, 'y'));
    streamed.sendContentLength = false;
    streamed.chunkSize = 512;
    services.iTunes.route(u"/streamed"_s, streamed);

    EXPECT_EQ(BlockingWait::wait(frugal.get(coverArt(u"/fits"_s))).size(), 1024);
    const HTTPError declared = awaitFailure<HTTPError>(frugal.get(coverArt(u"/declared"_s)));
    EXPECT_EQ(declared.kind(), HTTPError::Kind::tooLarge);
    EXPECT_EQ(declared.message(), u"The service sent an answer larger than 1 KiB, which was refused."_s);
    EXPECT_EQ(services.coverArt.requestCount(u"/declared"_s), 1);

    // An answer of no stated length is cut off as it grows. (Qt itself may then send the
    // request once more on a new connection, so the server's count proves nothing here.)
    EXPECT_EQ(awaitFailure<HTTPError>(frugal.get(services.iTunes.url(u"/streamed"_s))).kind(), HTTPError::Kind::tooLarge);
    EXPECT_TRUE(clock->sleeps().isEmpty()) << "no pause, so no second try";
}

TEST_F(MetadataHTTPClientTest, AtMostTwoConnectionsToOneHost)
{
    FakeResponse slow = FakeResponse::ok("done");
    slow.delay = 300ms;
    services.coverArt.route(u"/slow"_s, slow);
    std::vector<QCoro::Task<QByteArray>> calls;
    for (int i = 0; i < 4; ++i)
        calls.push_back(client.get(coverArt(u"/slow"_s)));
    for (auto& call : calls)
        EXPECT_EQ(BlockingWait::wait(std::move(call)), QByteArray("done"));

    QList<std::chrono::steady_clock::time_point> arrivals;
    for (const FakeRequest& request : services.coverArt.requests())
        arrivals.append(request.receivedAt);
    ASSERT_EQ(arrivals.size(), 4);
    std::sort(arrivals.begin(), arrivals.end());
    EXPECT_GE(arrivals.at(2) - arrivals.at(0), 250ms) << "the third waited for one of the first two";
}

TEST_F(MetadataHTTPClientTest, RedirectsAreFollowed)
{
    services.coverArt.route(u"/release/r/front"_s, FakeResponse::redirect(services.iTunes.url(u"/image.jpg"_s), 307));
    services.iTunes.route(u"/image.jpg"_s, FakeResponse::ok("\xFF\xD8\xFFimage", "image/jpeg"));
    EXPECT_EQ(BlockingWait::wait(client.get(coverArt(u"/release/r/front"_s))), QByteArray("\xFF\xD8\xFFimage"));
}
