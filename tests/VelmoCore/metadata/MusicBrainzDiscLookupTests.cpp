#include "metadata/MusicBrainzDiscLookup.h"
#include "metadata/MusicBrainzReleaseLookup.h"
#include "support/AsyncTesting.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"
#include "support/JsonHelpers.h"
#include "support/TestData.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MusicBrainzDiscLookup::LookupError;

namespace {

const QString discID = u"7v3LmtkMIT49mHs7LobaAwBNsck-"_s;

QJsonObject darkSide()
{
    return testDataObject(u"metadata/musicbrainz/release.json"_s);
}

QJsonObject medium(qint64 position, const QString& disc, const QJsonArray& tracks)
{
    return {{"position"_L1, position},
            {"format"_L1, "CD"_L1},
            {"discs"_L1, QJsonArray{QJsonObject{{"id"_L1, disc}, {"sectors"_L1, 134481}}}},
            {"track-count"_L1, tracks.size()},
            {"tracks"_L1, tracks}};
}

// The real release with its ten vinyl tracks split over two discs, the looked-up disc second.
QJsonObject twoDiscDarkSide()
{
    QJsonObject release = darkSide();
    const QJsonArray tracks = release.value("media"_L1).toArray().at(0).toObject().value("tracks"_L1).toArray();
    QJsonArray sideA, sideB;
    for (qsizetype i = 0; i < tracks.size(); ++i)
        (i < 5 ? sideA : sideB).append(tracks.at(i));
    release.insert("media"_L1, QJsonArray{medium(1, u"tNSQ3K59B8ZkSb19P__Jet6B.sk-"_s, sideA), medium(2, discID, sideB)});
    return release;
}

QJsonObject discAnswer(const QJsonArray& releases)
{
    return {{"id"_L1, discID}, {"offset-count"_L1, 3}, {"sectors"_L1, 134481}, {"releases"_L1, releases}};
}

QJsonObject track(const QJsonValue& number, const QJsonObject& recording, const QString& title = u"Track title"_s)
{
    QJsonObject object{{"title"_L1, title}, {"number"_L1, number}, {"position"_L1, 1}};
    if (!recording.isEmpty())
        object.insert("recording"_L1, recording);
    return object;
}

ReleaseMetadata releaseWith(const QJsonObject& changes)
{
    QJsonObject release = darkSide();
    for (auto it = changes.begin(); it != changes.end(); ++it)
        release.insert(it.key(), it.value());
    return MusicBrainzDiscLookup::parseRelease(release, discID);
}

ReleaseMetadata releaseWithTracks(const QJsonArray& tracks)
{
    return releaseWith({{"media"_L1, QJsonArray{medium(1, discID, tracks)}}});
}

} // namespace

TEST(MusicBrainzDiscLookupURL, CarriesTheTOCWithLiteralPlusSigns)
{
    const QUrl url = MusicBrainzDiscLookup::lookupURL(QUrl(u"https://musicbrainz.org"_s), u"XzPS7vW.HPHsYemQh0HBUGr8vuU-"_s,
                                                      {150, 15363, 32314}, 260295);
    EXPECT_EQ(url.toEncoded(), QByteArray("https://musicbrainz.org/ws/2/discid/XzPS7vW.HPHsYemQh0HBUGr8vuU-"
                                          "?fmt=json&inc=artists+recordings+genres&toc=1+3+260295+150+15363+32314"));
    const QUrl behindAPrefix = MusicBrainzDiscLookup::lookupURL(QUrl(u"http://127.0.0.1:5000/mirror/"_s), u"x"_s, {150}, 900);
    EXPECT_EQ(behindAPrefix.path(), u"/mirror/ws/2/discid/x"_s);
}

TEST(MusicBrainzDiscLookupURL, TheSubmitAddressAttachesTheTOCOnTheConfiguredSite)
{
    const QUrl url = MusicBrainzDiscLookup::submitURL(QUrl(u"https://musicbrainz.org"_s), u"XzPS7vW.HPHsYemQh0HBUGr8vuU-"_s,
                                                      {150, 15363, 32314}, 260295);
    EXPECT_EQ(url.scheme(), u"https"_s);
    EXPECT_EQ(url.host(), u"musicbrainz.org"_s);
    EXPECT_EQ(url.path(), u"/cdtoc/attach"_s);
    const QByteArray query = url.toEncoded(QUrl::RemoveScheme | QUrl::RemoveAuthority | QUrl::RemovePath);
    EXPECT_EQ(query, QByteArray("?toc=1+3+260295+150+15363+32314&tracks=3&id=XzPS7vW.HPHsYemQh0HBUGr8vuU-"))
        << "first and last track, lead-out, then each offset with its lead-in, joined by literal plus signs";
    const QUrl mirror = MusicBrainzDiscLookup::submitURL(QUrl(u"http://127.0.0.1:5000/mirror/"_s), u"x"_s, {150}, 900);
    EXPECT_EQ(mirror.toEncoded(), QByteArray("http://127.0.0.1:5000/mirror/cdtoc/attach?toc=1+1+900+150&tracks=1&id=x"));
}

TEST(MusicBrainzParseRelease, ReadsARealRelease)
{
    const ReleaseMetadata release = MusicBrainzDiscLookup::parseRelease(darkSide(), discID);
    EXPECT_EQ(release.mbid, u"b84ee12a-09ef-421b-82de-0441a926375b"_s);
    EXPECT_EQ(release.title, u"The Dark Side of the Moon"_s);
    EXPECT_EQ(release.artist, u"Pink Floyd"_s);
    EXPECT_EQ(release.year, 1973);
    EXPECT_EQ(release.disambiguation, u"stereo"_s);
    EXPECT_EQ(release.status, u"Official"_s);
    EXPECT_EQ(release.releaseGroupID, u"f5093c06-23e3-404f-aeaa-40f72885ee3a"_s);
    EXPECT_EQ(release.genre, u"Genre1"_s) << "counts 5 and 3";
    EXPECT_EQ(release.discNumber, 1);
    ASSERT_EQ(release.tracks.size(), 10);

    const TrackMetadataStub& first = release.tracks.at(0);
    EXPECT_EQ(first.number, 1) << "\"A1\" is no number: the position stands";
    EXPECT_EQ(first.title, u"Speak to Me"_s);
    EXPECT_EQ(first.artist, u"Pink Floyd"_s) << "recordings without a credit take the release's artist";
    EXPECT_DOUBLE_EQ(first.duration, 68.346);
    EXPECT_EQ(first.recordingMBID, u"bef3fddb-5aca-49f5-b2fd-d56a23268d63"_s);
    EXPECT_EQ(first.discNumber, std::nullopt);
    EXPECT_EQ(release.tracks.at(9).number, 10);
}

TEST(MusicBrainzParseRelease, TakesTheMediumThatHoldsTheDisc)
{
    const ReleaseMetadata second = MusicBrainzDiscLookup::parseRelease(twoDiscDarkSide(), discID);
    EXPECT_EQ(second.discNumber, 2);
    ASSERT_EQ(second.tracks.size(), 5);
    EXPECT_EQ(second.tracks.at(0).title, u"Money"_s);
    EXPECT_EQ(second.tracks.at(0).number, 1);

    const ReleaseMetadata unlisted = MusicBrainzDiscLookup::parseRelease(twoDiscDarkSide(), u"notOnThisRelease-"_s);
    EXPECT_EQ(unlisted.discNumber, 1) << "the first medium and its position";
    EXPECT_EQ(unlisted.tracks.at(0).title, u"Speak to Me"_s);
}

TEST(MusicBrainzParseRelease, DiscNumberWithoutAPosition)
{
    QJsonObject onlyMedium = medium(1, discID, {});
    onlyMedium.remove("position"_L1);
    EXPECT_EQ(releaseWith({{"media"_L1, QJsonArray{onlyMedium}}}).discNumber, 1) << "a release of one medium";

    QJsonObject other = medium(2, u"other"_s, {});
    other.insert("position"_L1, "2"_L1);
    EXPECT_EQ(releaseWith({{"media"_L1, QJsonArray{onlyMedium, other}}}).discNumber, std::nullopt);

    const ReleaseMetadata noMedia = releaseWith({{"media"_L1, QJsonArray{}}});
    EXPECT_TRUE(noMedia.tracks.isEmpty());
    EXPECT_EQ(noMedia.discNumber, std::nullopt);
}

TEST(MusicBrainzParseRelease, YearIsTheFirstFourCharactersOfTheDate)
{
    EXPECT_EQ(releaseWith({{"date"_L1, "1973-03-24"_L1}}).year, 1973);
    EXPECT_EQ(releaseWith({{"date"_L1, "1973"_L1}}).year, 1973);
    EXPECT_EQ(releaseWith({{"date"_L1, ""_L1}}).year, std::nullopt);
    EXPECT_EQ(releaseWith({{"date"_L1, "c. 1973"_L1}}).year, std::nullopt);
    EXPECT_EQ(releaseWith({{"date"_L1, 1973}}).year, std::nullopt) << "a number where text belongs";
}

TEST(MusicBrainzParseRelease, TheGenreWithTheMostVotesWins)
{
    const auto genreOf = [](const QJsonArray& genres) { return releaseWith({{"genres"_L1, genres}}).genre; };
    const auto genre = [](const QJsonValue& name, const QJsonValue& count) {
        return QJsonObject{{"name"_L1, name}, {"count"_L1, count}};
    };
    EXPECT_EQ(genreOf({genre("rock"_L1, 3), genre("progressive rock"_L1, 7), genre("art rock"_L1, 7)}),
              u"Progressive rock"_s) << "ties go to the earlier; only the first word gets a capital";
    EXPECT_EQ(genreOf({genre(u"électro"_s, 1)}), u"Électro"_s);
    EXPECT_EQ(genreOf({}), std::nullopt);
    EXPECT_EQ(genreOf({genre("jazz"_L1, "12"_L1), genre("blues"_L1, 1)}), u"Blues"_s) << "a count in text counts 0";
    EXPECT_EQ(genreOf({genre("jazz"_L1, 1), genre(""_L1, 9)}), std::nullopt) << "no fall-back to the runner-up";
    EXPECT_EQ(genreOf({genre(5, 9)}), std::nullopt);
    EXPECT_EQ(releaseWith({{"genres"_L1, "rock"_L1}}).genre, std::nullopt);
}

TEST(MusicBrainzParseRelease, TracksFallBackPieceByPiece)
{
    const QJsonObject credited = QJsonDocument::fromJson(R"({"title": "Recording title", "length": 215000, "id": "rec-1",
        "artist-credit": [{"name": "Credited As", "joinphrase": " & ", "artist": {"name": "Roger Waters"}},
                          {"artist": {"name": "David Gilmour"}}]})").object();
    const ReleaseMetadata release = releaseWithTracks({track("1"_L1, credited), track("B2"_L1, {}, u"Only the track's"_s),
                                                       track(3, {{"length"_L1, "215000"_L1}}), track(QJsonValue(), {})});
    ASSERT_EQ(release.tracks.size(), 4);

    const TrackMetadataStub& full = release.tracks.at(0);
    EXPECT_EQ(full.title, u"Recording title"_s) << "the recording's title before the track's";
    EXPECT_EQ(full.artist, u"Roger Waters"_s) << "the first artist, by name, alone";
    EXPECT_DOUBLE_EQ(full.duration, 215.0);
    EXPECT_EQ(full.recordingMBID, u"rec-1"_s);

    const TrackMetadataStub& bare = release.tracks.at(1);
    EXPECT_EQ(bare.number, 2);
    EXPECT_EQ(bare.title, u"Only the track's"_s);
    EXPECT_EQ(bare.artist, u"Pink Floyd"_s);
    EXPECT_EQ(bare.duration, 0.0);
    EXPECT_EQ(bare.recordingMBID, std::nullopt);

    EXPECT_EQ(release.tracks.at(2).number, 3) << "a number as a JSON number";
    EXPECT_EQ(release.tracks.at(2).duration, 0.0) << "a length in text";
    EXPECT_EQ(release.tracks.at(2).title, u"Track title"_s);
    EXPECT_EQ(release.tracks.at(3).number, 4);
}

TEST(MusicBrainzParseRelease, UnusableNumbersTakeThePositionAndImplausibleLengthsAreUnknown)
{
    const ReleaseMetadata release = releaseWithTracks({track("A"_L1, {{"length"_L1, 1e300}}), track("7"_L1, {{"length"_L1, -5000}}),
                                                       track(1e300, {{"length"_L1, 1500.5}}), track("99999999999999999999"_L1, {}),
                                                       track(" 5"_L1, {})});
    QList<qint64> numbers;
    for (const TrackMetadataStub& stub : release.tracks)
        numbers.append(stub.number);
    EXPECT_EQ(numbers, (QList<qint64>{1, 7, 3, 4, 5})) << "an unusable number leaves the others alone";
    EXPECT_EQ(release.tracks.at(0).duration, 0.0);
    EXPECT_EQ(release.tracks.at(1).duration, 0.0);
    EXPECT_DOUBLE_EQ(release.tracks.at(2).duration, 1.5005);
}

TEST(MusicBrainzParseRelease, ARealReleaseOfNullsGivesDefaults)
{
    const ReleaseMetadata release =
        MusicBrainzDiscLookup::parseRelease(testDataObject(u"metadata/musicbrainz/release_null.json"_s), discID);
    EXPECT_EQ(release.title, QString());
    EXPECT_EQ(release.year, std::nullopt);
    EXPECT_EQ(release.releaseGroupID, std::nullopt);
    EXPECT_EQ(release.discNumber, 1) << "its one medium has a null position";
    EXPECT_TRUE(release.tracks.isEmpty());
}

TEST(MusicBrainzParseReleases, FindsTheReleasesOnTopOrUnderDisc)
{
    const QList<ReleaseMetadata> top =
        MusicBrainzDiscLookup::parseReleases(jsonText(discAnswer({twoDiscDarkSide(), darkSide()})), discID);
    ASSERT_EQ(top.size(), 2);
    EXPECT_EQ(top.at(0).discNumber, 2);
    EXPECT_EQ(top.at(1).tracks.size(), 10);

    const QJsonObject nested{{"disc"_L1, discAnswer({darkSide()})}};
    EXPECT_EQ(MusicBrainzDiscLookup::parseReleases(jsonText(nested), discID).size(), 1) << "or under \"disc\"";
}

TEST(MusicBrainzParseReleases, AnswersWithoutReleasesOrNotObjects)
{
    const auto kindOf = [](const QByteArray& body) {
        try {
            MusicBrainzDiscLookup::parseReleases(body, discID);
        } catch (const LookupError& error) {
            return error.kind();
        }
        ADD_FAILURE() << body.constData();
        return LookupError::Kind::tocReadFailed;
    };
    EXPECT_EQ(kindOf(R"({"releases": []})"), LookupError::Kind::noMatchFound);
    EXPECT_EQ(kindOf(R"({"releases": [1, "two", null]})"), LookupError::Kind::noMatchFound);
    EXPECT_EQ(kindOf(R"({"error": "Not Found"})"), LookupError::Kind::noMatchFound);
    EXPECT_EQ(kindOf(R"([{"id": "b84ee12a-09ef-421b-82de-0441a926375b"}])"), LookupError::Kind::parseError);
    EXPECT_EQ(kindOf("<!DOCTYPE html><html><body>502 Bad Gateway</body></html>"), LookupError::Kind::parseError);
    EXPECT_EQ(kindOf(R"({"releases": [)"), LookupError::Kind::parseError);
}

TEST(MusicBrainzDiscLookupErrors, SpeakToTheUser)
{
    EXPECT_EQ(LookupError::noMatchFound().message(), u"This disc isn't in the MusicBrainz database yet."_s);
    EXPECT_EQ(LookupError::tocReadFailed().message(), u"Couldn't read the disc. Try ejecting and re-inserting it."_s);
    EXPECT_EQ(LookupError::networkError(MetadataHTTPClient::HTTPError::serverError(502)).message(),
              u"Couldn't reach MusicBrainz. Check your internet connection and try again."_s);
}

class MusicBrainzDiscFetchTest : public ::testing::Test {
protected:
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};
    const QString path = u"/ws/2/discid/"_s + discID;

    QCoro::Task<QList<ReleaseMetadata>> lookUp()
    {
        return MusicBrainzDiscLookup::fetchReleases(discID, {150, 18901, 39738}, 260295, client);
    }
};

TEST_F(MusicBrainzDiscFetchTest, AsksForTheDiscAndParsesTheAnswer)
{
    services.musicBrainz.route(path, FakeResponse::ok(jsonText(discAnswer({twoDiscDarkSide()})), "application/json"));
    const QList<ReleaseMetadata> releases = BlockingWait::wait(lookUp());
    ASSERT_EQ(releases.size(), 1);
    EXPECT_EQ(releases.at(0).discNumber, 2);

    const QUrlQuery query(QUrl(QString::fromUtf8(services.musicBrainz.requests().at(0).target)));
    EXPECT_EQ(query.queryItemValue(u"toc"_s), u"1+3+260295+150+18901+39738"_s);
}

TEST_F(MusicBrainzDiscFetchTest, FailuresInTheirKinds)
{
    services.musicBrainz.route(path, FakeResponse::withStatus(404, R"({"error": "Not Found"})"));
    EXPECT_EQ(awaitFailure<LookupError>(lookUp()).kind(), LookupError::Kind::noMatchFound) << "never a network error";
    EXPECT_EQ(services.musicBrainz.requestCount(path), 1);

    services.musicBrainz.route(path, FakeResponse::ok("<html><body>Maintenance</body></html>", "text/html"));
    EXPECT_EQ(awaitFailure<LookupError>(lookUp()).kind(), LookupError::Kind::parseError);

    services.musicBrainz.route(path, FakeResponse::withStatus(500));
    const LookupError serverError = awaitFailure<LookupError>(lookUp());
    EXPECT_EQ(serverError.kind(), LookupError::Kind::networkError);
    EXPECT_EQ(serverError.httpError()->statusCode(), 500);

    FakeServices::configure(FakeServices::vacantAddress(), services.coverArt.url(QString()), services.iTunes.url(QString()));
    const LookupError unreachable = awaitFailure<LookupError>(lookUp());
    EXPECT_EQ(unreachable.kind(), LookupError::Kind::networkError);
}

TEST_F(MusicBrainzDiscFetchTest, AnAnswerTooLargeIsSaidToBeTooLargeNotUnreachable)
{
    MetadataHTTPClient frugal{MetadataHTTPClient::Options{.clock = clock, .maximumBodySize = 1024}};
    const QByteArray huge = "{\"releases\": [" + QByteArray(4096, ' ') + "]}";
    services.musicBrainz.route(path, FakeResponse::ok(huge, "application/json"));
    const LookupError disc = awaitFailure<LookupError>(
        MusicBrainzDiscLookup::fetchReleases(discID, {150, 18901, 39738}, 260295, frugal));
    EXPECT_EQ(disc.message(), u"MusicBrainz sent an answer larger than 1 KiB, which was refused."_s);
    EXPECT_EQ(disc.httpError()->kind(), MetadataHTTPClient::HTTPError::Kind::tooLarge);

    const QString releaseID = u"b84ee12a-09ef-421b-82de-0441a926375b"_s;
    services.musicBrainz.route(u"/ws/2/release/"_s + releaseID, FakeResponse::ok(huge, "application/json"));
    const auto release = awaitFailure<MusicBrainzReleaseLookup::LookupError>(
        MusicBrainzReleaseLookup::fetchRelease(releaseID, frugal));
    EXPECT_EQ(release.message(), u"MusicBrainz sent an answer larger than 1 KiB, which was refused."_s);
}
