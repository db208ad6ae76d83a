#include "library/ImageType.h"
#include "metadata/ArtworkFetcher.h"
#include "support/AsyncTesting.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"
#include "support/JsonHelpers.h"
#include "support/TestData.h"

#include <QJsonArray>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using ArtworkFetcher::ArtworkResult;
using ArtworkFetcher::FetchError;

namespace {

const QByteArray jpeg("\xFF\xD8\xFF\xE0\x00\x10JFIF\x00\x01", 12);
const QByteArray png("\x89PNG\r\n\x1A\n\x00\x00\x00\rIHDR", 16);
const QByteArray gif("GIF89a\x01\x00\x01\x00", 10);
const QByteArray webp("RIFF\x24\x00\x00\x00WEBPVP8 ", 16);

const QString releaseID = u"b84ee12a-09ef-421b-82de-0441a926375b"_s;
const QString groupID = u"f5093c06-23e3-404f-aeaa-40f72885ee3a"_s;
const QString queen = u"Queen"_s;
const QString deluxe = u"A Night at the Opera (Deluxe Edition)"_s;

QJsonObject iTunesResult(const QJsonValue& artist, const QJsonValue& album, const QJsonValue& artwork)
{
    return {{"wrapperType"_L1, "collection"_L1},
            {"collectionType"_L1, "Album"_L1},
            {"artistName"_L1, artist},
            {"collectionName"_L1, album},
            {"artworkUrl100"_L1, artwork}};
}

QByteArray iTunesAnswer(const QList<QJsonObject>& results)
{
    QJsonArray list;
    for (const QJsonObject& result : results)
        list.append(result);
    return jsonText(QJsonObject{{"resultCount"_L1, list.size()}, {"results"_L1, list}});
}

FetchError::Kind verificationFailure(const QByteArray& answer, const QString& artist, const QString& album)
{
    try {
        ArtworkFetcher::verifiedArtworkURL(answer, artist, album);
    } catch (const FetchError& error) {
        return error.kind();
    }
    ADD_FAILURE() << "verified";
    return FetchError::Kind::networkError;
}

class ArtworkFetcherTest : public ::testing::Test {
protected:
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};

    const QString releaseFront = u"/release/"_s + releaseID + u"/front"_s;
    const QString groupFront = u"/release-group/"_s + groupID + u"/front"_s;

    // The real iTunes answer for Queen's album, its artwork moved onto the fake iTunes server;
    // returns the path at which the large picture is asked for.
    QString serveQueenFromITunes()
    {
        const QByteArray answer = testData(u"metadata/itunes/lookup-1441458047-gb.json"_s)
                                      .replace("https://is1-ssl.mzstatic.com", services.iTunes.url(QString()).toEncoded());
        services.iTunes.route(u"/search"_s, FakeResponse::ok(answer, "text/javascript; charset=utf-8"));
        const QString large =
            u"/image/thumb/Music221/v4/11/c4/9f/11c49f00-8b2e-461e-c8b9-f88ec1f36e93/14UMGIM39390.rgb.jpg/1200x1200bb.jpg"_s;
        services.iTunes.route(large, FakeResponse::ok(jpeg, "image/jpeg"));
        return large;
    }

    qsizetype totalRequests() const
    {
        return services.musicBrainz.requests().size() + services.coverArt.requests().size()
               + services.iTunes.requests().size();
    }
};

} // namespace

TEST(ArtworkImages, KindFromTheFirstBytes)
{
    EXPECT_EQ(ImageType::mimeType(jpeg), u"image/jpeg"_s);
    EXPECT_EQ(ImageType::mimeType(png), u"image/png"_s);
    EXPECT_EQ(ImageType::mimeType(QByteArray("\x89PNG", 4)), u"image/png"_s);
    EXPECT_EQ(ImageType::mimeType(gif), u"image/gif"_s);
    EXPECT_EQ(ImageType::mimeType(webp), u"image/webp"_s);
    EXPECT_EQ(ImageType::mimeType("plain text"), u"image/jpeg"_s);

    for (const QByteArray& image : {jpeg, png, gif, webp})
        EXPECT_TRUE(ImageType::isImage(image)) << image.toHex().constData();
    for (const QByteArray& notImage : {QByteArray("<!DOCTYPE html><html>"), QByteArray("{\"error\":1}"),
                                      QByteArray("\x89PNG", 4), QByteArray("\xFF\xD8", 2), QByteArray("RIFF\0\0\0\0WAVE", 12),
                                      QByteArray()})
        EXPECT_FALSE(ImageType::isImage(notImage)) << notImage.toHex().constData();
}

TEST(ArtworkITunesMatch, ArtistAndAlbumMustMatchInFull)
{
    const QByteArray answer = testData(u"metadata/itunes/lookup-1441458047-gb.json"_s);
    const QUrl url = ArtworkFetcher::verifiedArtworkURL(answer, u"  queen\n"_s, u"a night at the opera (deluxe edition) "_s);
    EXPECT_EQ(url.toString(), u"https://is1-ssl.mzstatic.com/image/thumb/Music221/v4/11/c4/9f/"
                              "11c49f00-8b2e-461e-c8b9-f88ec1f36e93/14UMGIM39390.rgb.jpg/1200x1200bb.jpg"_s);
    EXPECT_EQ(verificationFailure(answer, queen, u"A Night at the Opera"_s), FetchError::Kind::noMatchFound)
        << "an edition's name behind the title is another album";
    EXPECT_EQ(verificationFailure(answer, u"Queen + Adam Lambert"_s, deluxe), FetchError::Kind::noMatchFound);
    EXPECT_EQ(verificationFailure(answer, u"Que en"_s, deluxe), FetchError::Kind::noMatchFound)
        << "inner blanks count";
}

TEST(ArtworkITunesMatch, TheFirstVerifiedResultWins)
{
    const QByteArray answer = iTunesAnswer({
        iTunesResult(42, "Album"_L1, "https://art/skip/100x100bb.jpg"_L1),
        iTunesResult("Artist"_L1, "Album (Remastered)"_L1, "https://art/other/100x100bb.jpg"_L1),
        iTunesResult(" ARTIST "_L1, "album"_L1, "https://art/first/100x100bb.jpg?size=100x100bb"_L1),
        iTunesResult("Artist"_L1, "Album"_L1, "https://art/second/100x100bb.jpg"_L1),
    });
    EXPECT_EQ(ArtworkFetcher::verifiedArtworkURL(answer, u"Artist"_s, u"Album"_s),
              QUrl(u"https://art/first/1200x1200bb.jpg?size=1200x1200bb"_s));

    const QByteArray plain = iTunesAnswer({iTunesResult("Artist"_L1, "Album"_L1, "https://art/cover.png"_L1)});
    EXPECT_EQ(ArtworkFetcher::verifiedArtworkURL(plain, u"Artist"_s, u"Album"_s), QUrl(u"https://art/cover.png"_s))
        << "without the size in it, the address stands as it is";
}

TEST(ArtworkITunesMatch, AnythingElseIsNoMatch)
{
    const auto noMatch = [](const QByteArray& answer) {
        return verificationFailure(answer, u"Artist"_s, u"Album"_s) == FetchError::Kind::noMatchFound;
    };
    EXPECT_TRUE(noMatch(R"({"resultCount":0,"results":[]})"));
    EXPECT_TRUE(noMatch(R"({"resultCount":1})"));
    EXPECT_TRUE(noMatch(R"({"results":"Artist Album"})"));
    EXPECT_TRUE(noMatch("<html><body>Service Unavailable</body></html>"));
    EXPECT_TRUE(noMatch(R"([{"artistName":"Artist","collectionName":"Album"}])"));
    EXPECT_TRUE(noMatch(iTunesAnswer({iTunesResult("Artist"_L1, "Album"_L1, QJsonValue::Null),
                                      iTunesResult("Artist"_L1, "Album"_L1, "https://art/100x100bb.jpg"_L1)})))
        << "the first verified result has no artwork";
}

TEST(ArtworkMusicBrainzMatch, NeedsAScoreOf80AndAnID)
{
    const QByteArray real = testData(u"metadata/musicbrainz/release-search.json"_s);
    EXPECT_EQ(ArtworkFetcher::parseMusicBrainzMatch(real), (ArtworkFetcher::ReleaseIDs{releaseID, groupID}));

    const auto withBest = [](const QJsonObject& best) {
        return jsonText(QJsonObject{{"count"_L1, 1}, {"releases"_L1, QJsonArray{best}}});
    };
    const auto noMatch = [](const QByteArray& answer) {
        try {
            ArtworkFetcher::parseMusicBrainzMatch(answer);
        } catch (const FetchError& error) {
            return error.kind() == FetchError::Kind::noMatchFound;
        }
        return false;
    };
    EXPECT_EQ(ArtworkFetcher::parseMusicBrainzMatch(withBest({{"id"_L1, "r"_L1}, {"score"_L1, 80}})),
              (ArtworkFetcher::ReleaseIDs{u"r"_s, std::nullopt}));
    EXPECT_TRUE(noMatch(withBest({{"id"_L1, "r"_L1}, {"score"_L1, 79}})));
    EXPECT_TRUE(noMatch(withBest({{"id"_L1, "r"_L1}, {"score"_L1, "100"_L1}})));
    EXPECT_TRUE(noMatch(withBest({{"id"_L1, "r"_L1}, {"score"_L1, 99.5}})));
    EXPECT_TRUE(noMatch(withBest({{"id"_L1, 7}, {"score"_L1, 100}})));
    EXPECT_TRUE(noMatch(R"({"releases":[]})"));
    EXPECT_TRUE(noMatch("not json"));
}

TEST_F(ArtworkFetcherTest, TheReleaseCoverFirstThenTheReleaseGroups)
{
    EXPECT_EQ(awaitFailure<FetchError>(ArtworkFetcher::fetchCoverArt(std::nullopt, std::nullopt, client)).kind(),
              FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(totalRequests(), 0) << "no IDs, no request";

    services.coverArt.route(groupFront, FakeResponse::ok(png, "image/png"));
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchCoverArt(releaseID, groupID, client)), (ArtworkResult{png, u"image/png"_s}));
    EXPECT_EQ(services.coverArt.requestCount(releaseFront), 1);
    EXPECT_EQ(services.coverArt.requestCount(groupFront), 1);

    services.coverArt.route(releaseFront, FakeResponse::ok(jpeg, "image/jpeg"));
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchArtwork(queen, deluxe, releaseID, groupID, client)),
              (ArtworkResult{jpeg, u"image/jpeg"_s}));
    EXPECT_EQ(totalRequests(), 3) << "a release with a cover is one request";

    services.coverArt.route(releaseFront, FakeResponse::withStatus(503));
    EXPECT_EQ(awaitFailure<FetchError>(ArtworkFetcher::fetchCoverArt(releaseID, std::nullopt, client)).kind(),
              FetchError::Kind::networkError) << "with the release alone, its failure";
}

TEST_F(ArtworkFetcherTest, NoCoverInTheArchiveLeavesITunes)
{
    const QString large = serveQueenFromITunes();
    const ArtworkResult result = BlockingWait::wait(ArtworkFetcher::fetchArtwork(queen, deluxe, releaseID, groupID, client));
    EXPECT_EQ(result.data, jpeg);
    EXPECT_EQ(services.coverArt.requests().size(), 2);
    EXPECT_EQ(services.iTunes.requestCount(large), 1);

    const QUrl search(QString::fromUtf8(services.iTunes.requests().at(0).target));
    const QUrlQuery query(search);
    EXPECT_EQ(query.queryItemValue(u"term"_s, QUrl::FullyDecoded), queen + u' ' + deluxe);
    EXPECT_EQ(query.queryItemValue(u"entity"_s), u"album"_s);
    EXPECT_EQ(query.queryItemValue(u"limit"_s), u"5"_s);
}

TEST_F(ArtworkFetcherTest, WithoutIDsITunesIsAskedStraightAway)
{
    serveQueenFromITunes();
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchArtwork(queen, deluxe, std::nullopt, QString(), client)).data, jpeg);
    EXPECT_TRUE(services.coverArt.requests().isEmpty());
    EXPECT_TRUE(services.musicBrainz.requests().isEmpty()) << "no name search";
}

TEST_F(ArtworkFetcherTest, TheNameSearchFindsTheReleaseAndItsCover)
{
    services.musicBrainz.route(u"/ws/2/release"_s, FakeResponse::ok(testData(u"metadata/musicbrainz/release-search.json"_s)));
    services.coverArt.route(releaseFront, FakeResponse::ok(jpeg, "image/jpeg"));
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetch(u"Pink Floyd"_s, u"The Dark Side of the Moon"_s, client)).data, jpeg);
    EXPECT_TRUE(services.iTunes.requests().isEmpty());

    const QUrlQuery query(QUrl(QString::fromUtf8(services.musicBrainz.requests().at(0).target)));
    EXPECT_EQ(query.queryItemValue(u"query"_s, QUrl::FullyDecoded),
              u"artist:\"Pink Floyd\" AND release:\"The Dark Side of the Moon\""_s);
    EXPECT_EQ(query.queryItemValue(u"limit"_s), u"1"_s);
}

TEST_F(ArtworkFetcherTest, ALowScoreABusyArchiveOrAnUnreachableMusicBrainzStillLeaveITunes)
{
    services.musicBrainz.route(u"/ws/2/release"_s,
                               FakeResponse::ok(R"({"releases":[{"id":"r","score":79,"release-group":{"id":"g"}}]})"));
    serveQueenFromITunes();
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetch(queen, deluxe, client)).data, jpeg);
    EXPECT_TRUE(services.coverArt.requests().isEmpty());

    services.coverArt.route(releaseFront, FakeResponse::withStatus(429));
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchArtwork(queen, deluxe, releaseID, std::nullopt, client)).data, jpeg);

    FakeServices::configure(FakeServices::vacantAddress(), services.coverArt.url(QString()), services.iTunes.url(QString()));
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetch(queen, deluxe, client)).data, jpeg);
}

TEST_F(ArtworkFetcherTest, TextInsteadOfAnImageIsNoArtwork)
{
    services.coverArt.route(releaseFront, FakeResponse::ok("<html><body>Maintenance</body></html>", "text/html"));
    services.coverArt.route(groupFront, FakeResponse::ok(R"({"error":"no images"})", "image/jpeg"));
    const FetchError error = awaitFailure<FetchError>(ArtworkFetcher::fetchCoverArt(releaseID, groupID, client));
    EXPECT_EQ(error.kind(), FetchError::Kind::artworkUnavailable) << "a declared type doesn't make text a picture";
    EXPECT_EQ(services.coverArt.requests().size(), 2);

    const QString large = serveQueenFromITunes();
    services.iTunes.route(large, FakeResponse::ok("<html>Image not found</html>", "text/html"));
    EXPECT_EQ(awaitFailure<FetchError>(ArtworkFetcher::searchITunes(queen, deluxe, client)).kind(),
              FetchError::Kind::artworkUnavailable);
}

TEST_F(ArtworkFetcherTest, TheTypeComesFromTheServerOrFromTheBytes)
{
    services.coverArt.route(u"/declared"_s, FakeResponse::ok(jpeg, "image/pjpeg"));
    services.coverArt.route(u"/generic"_s, FakeResponse::ok(png, "application/octet-stream"));
    FakeResponse untyped = FakeResponse::ok(gif);
    untyped.headers.clear();
    services.coverArt.route(u"/untyped"_s, untyped);
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchImage(services.coverArt.url(u"/declared"_s), client)).mimeType, u"image/pjpeg"_s);
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchImage(services.coverArt.url(u"/generic"_s), client)).mimeType, u"image/png"_s);
    EXPECT_EQ(BlockingWait::wait(ArtworkFetcher::fetchImage(services.coverArt.url(u"/untyped"_s), client)).mimeType, u"image/gif"_s);
}

TEST_F(ArtworkFetcherTest, ImageFailuresInTheirKinds)
{
    const auto kindOf = [this](const QUrl& url) {
        return awaitFailure<FetchError>(ArtworkFetcher::fetchImage(url, client)).kind();
    };
    services.coverArt.route(u"/missing"_s, FakeResponse::withStatus(404));
    services.coverArt.route(u"/broken"_s, FakeResponse::withStatus(500));
    services.coverArt.route(u"/busy"_s, FakeResponse::withStatus(503));
    EXPECT_EQ(kindOf(services.coverArt.url(u"/missing"_s)), FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(kindOf(services.coverArt.url(u"/broken"_s)), FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(kindOf(services.coverArt.url(u"/busy"_s)), FetchError::Kind::networkError);

    const qsizetype before = totalRequests();
    EXPECT_EQ(kindOf(QUrl()), FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(kindOf(QUrl(u"file:///etc/passwd"_s)), FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(kindOf(QUrl(u"/relative/1200x1200bb.jpg"_s)), FetchError::Kind::artworkUnavailable);
    EXPECT_EQ(totalRequests(), before) << "no request for an address that isn't on the web";
}
