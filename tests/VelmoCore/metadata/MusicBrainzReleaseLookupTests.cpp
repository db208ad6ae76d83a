#include "metadata/MusicBrainzReleaseLookup.h"
#include "support/AsyncTesting.h"
#include "support/FakeClock.h"
#include "support/FakeServices.h"
#include "support/JsonHelpers.h"
#include "support/TestData.h"

#include <QJsonArray>
#include <QUrlQuery>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using MusicBrainzReleaseLookup::LookupError;

namespace {

QStringList idsOf(const QList<ReleaseCandidate>& candidates)
{
    QStringList ids;
    for (const ReleaseCandidate& candidate : candidates)
        ids.append(candidate.id);
    return ids;
}

QString queryValue(const QUrl& url, const QString& name)
{
    return QUrlQuery(url).queryItemValue(name, QUrl::FullyDecoded);
}

QJsonObject releaseObject(const QString& id, const QJsonArray& media = {})
{
    return {{"id"_L1, id}, {"title"_L1, QString(u"Title of "_s + id)}, {"media"_L1, media}};
}

QByteArray answerOf(const QList<QJsonObject>& releases)
{
    QJsonArray list;
    for (const QJsonObject& release : releases)
        list.append(release);
    return jsonText(QJsonObject{{"created"_L1, "2024-05-14T09:12:44.000Z"_L1}, {"count"_L1, list.size()},
                                {"offset"_L1, 0}, {"releases"_L1, list}});
}

LookupError::Kind parseFailure(const QByteArray& body)
{
    try {
        MusicBrainzReleaseLookup::parseCandidates(body);
    } catch (const LookupError& error) {
        return error.kind();
    }
    ADD_FAILURE() << body.constData();
    return LookupError::Kind::noMatchFound;
}

} // namespace

TEST(MusicBrainzReleaseURLs, NameSearchDropsDoubleQuotesAndEncodesEveryName)
{
    const QUrl base(u"https://musicbrainz.org"_s);
    const QUrl search = MusicBrainzReleaseLookup::searchURL(base, u"Guns N' Roses"_s, u"\"Use Your Illusion\" I"_s, 25);
    EXPECT_EQ(search.path(), u"/ws/2/release"_s);
    EXPECT_EQ(queryValue(search, u"query"_s), u"artist:Guns N' Roses AND release:Use Your Illusion I"_s);
    EXPECT_EQ(queryValue(search, u"fmt"_s), u"json"_s);
    EXPECT_EQ(queryValue(search, u"limit"_s), u"25"_s);
    EXPECT_TRUE(search.toEncoded().startsWith("https://musicbrainz.org/ws/2/release?query=")) << "the order of the items";

    const QUrl plus = MusicBrainzReleaseLookup::searchURL(base, u"Rock + Roll & Co"_s, u"A=B"_s, 5);
    EXPECT_TRUE(plus.toEncoded().contains("%2B%20Roll%20%26%20Co")) << plus.toEncoded().constData();
    EXPECT_EQ(queryValue(plus, u"query"_s), u"artist:Rock + Roll & Co AND release:A=B"_s);

    const QUrl browse = MusicBrainzReleaseLookup::browseURL(base, u"f5093c06-23e3-404f-aeaa-40f72885ee3a"_s);
    EXPECT_EQ(browse.toEncoded(),
              QByteArray("https://musicbrainz.org/ws/2/release?release-group=f5093c06-23e3-404f-aeaa-40f72885ee3a"
                         "&fmt=json&limit=100"));
    EXPECT_EQ(MusicBrainzReleaseLookup::releaseURL(base, u"b84ee12a-09ef-421b-82de-0441a926375b"_s).toEncoded(),
              QByteArray("https://musicbrainz.org/ws/2/release/b84ee12a-09ef-421b-82de-0441a926375b"
                         "?fmt=json&inc=artists+recordings+genres"));
    EXPECT_EQ(MusicBrainzReleaseLookup::releaseURL(base, u"../x?y"_s).path(QUrl::FullyEncoded),
              u"/ws/2/release/..%2Fx%3Fy"_s) << "an ID stays one path segment";
}

TEST(MusicBrainzCandidates, FromARealBrowseAnswer)
{
    const QList<ReleaseCandidate> candidates =
        MusicBrainzReleaseLookup::parseCandidates(testData(u"metadata/musicbrainz/release_group_2.json"_s));
    EXPECT_EQ(idsOf(candidates), (QStringList{u"123"_s, u"456"_s, u"789"_s}));
    const ReleaseCandidate& first = candidates.at(0);
    EXPECT_EQ(first.title, u"Foo"_s);
    EXPECT_EQ(first.artist, QString()) << "no artist credit in a browse without inc";
    EXPECT_EQ(first.year, 2009);
    EXPECT_EQ(first.disambiguation, u"special"_s);
    EXPECT_EQ(first.discTrackCounts, QList<qint64>{5});
}

TEST(MusicBrainzCandidates, FromASearchAnswer)
{
    const QList<ReleaseCandidate> candidates =
        MusicBrainzReleaseLookup::parseCandidates(testData(u"metadata/musicbrainz/release-search.json"_s));
    ASSERT_EQ(candidates.size(), 3);
    EXPECT_EQ(candidates.at(0).artist, u"Pink Floyd"_s);
    EXPECT_EQ(candidates.at(1).disambiguation, u"Experience Edition"_s);
    EXPECT_EQ(candidates.at(1).discTrackCounts, (QList<qint64>{10, 9})) << "media without positions keep their order";
    EXPECT_EQ(candidates.at(1).discCount(), 2);
    EXPECT_EQ(candidates.at(1).totalTrackCount(), 19);
    EXPECT_EQ(candidates.at(2).year, 2004);
    EXPECT_EQ(candidates.at(2).disambiguation, std::nullopt);
}

TEST(MusicBrainzCandidates, MediaInOrderOfPositionAndReleasesWithoutIDLeftOut)
{
    const auto medium = [](const QJsonValue& position, const QJsonValue& count) {
        QJsonObject object{{"track-count"_L1, count}};
        if (!position.isUndefined())
            object.insert("position"_L1, position);
        return object;
    };
    const QByteArray answer = answerOf({
        releaseObject(u"mixed"_s, {medium(3, 30), medium(QJsonValue::Undefined, 99), medium(1, 10), medium(2, "20"_L1),
                                   medium(QJsonValue::Undefined, 98)}),
        releaseObject(QString()),
        QJsonObject{{"title"_L1, "No ID at all"_L1}},
    });
    const QList<ReleaseCandidate> candidates = MusicBrainzReleaseLookup::parseCandidates(answer);
    ASSERT_EQ(idsOf(candidates), QStringList{u"mixed"_s});
    EXPECT_EQ(candidates.at(0).discTrackCounts, (QList<qint64>{10, 30, 99, 98}))
        << "positioned media first; a count in text is left out";
}

TEST(MusicBrainzCandidates, AnswersOfTheWrongShapeAreParseErrors)
{
    EXPECT_EQ(parseFailure(R"({"count": 0})"), LookupError::Kind::parseError);
    EXPECT_EQ(parseFailure(R"({"releases": {"id": "x"}})"), LookupError::Kind::parseError);
    EXPECT_EQ(parseFailure(R"([{"id": "x"}])"), LookupError::Kind::parseError);
    EXPECT_EQ(parseFailure("<html><head><title>503 Service Unavailable</title></head></html>"),
              LookupError::Kind::parseError);
    EXPECT_TRUE(MusicBrainzReleaseLookup::parseCandidates(R"({"releases": []})").isEmpty());
}

TEST(MusicBrainzFullRelease, ReadsEveryMediumInOrderOfPosition)
{
    QJsonObject release = testDataObject(u"metadata/musicbrainz/release_multidisc.json"_s);
    QJsonArray media = release.value("media"_L1).toArray();
    release.insert("media"_L1, QJsonArray{media.at(1), media.at(0)});

    const ReleaseMetadata metadata = MusicBrainzReleaseLookup::parseFullRelease(jsonText(release));
    EXPECT_EQ(metadata.mbid, u"6c4f766f-3351-4c10-a53d-b119452c27b2"_s);
    EXPECT_EQ(metadata.year, 2021);
    ASSERT_EQ(metadata.tracks.size(), 7);
    QList<std::pair<qint64, qint64>> positions;
    for (const TrackMetadataStub& stub : metadata.tracks)
        positions.append({stub.discNumber.value_or(0), stub.number});
    EXPECT_EQ(positions, (QList<std::pair<qint64, qint64>>{{1, 1}, {1, 2}, {1, 3}, {1, 4}, {2, 1}, {2, 2}, {2, 3}}));
    EXPECT_EQ(metadata.tracks.at(1).title, u"Bye‐Bye Butterfly"_s) << "the recording's title, with its own hyphen";
    EXPECT_DOUBLE_EQ(metadata.tracks.at(5).duration, 14.0);
}

TEST(MusicBrainzFullRelease, AnAnswerWithoutTitlesOrWithAnEmptyArtistCreditIsRefused)
{
    // This real answer was not asked for artist credits and has none: its titles still stand.
    const QJsonObject uncredited = testDataObject(u"metadata/musicbrainz/release_multidisc.json"_s);
    const ReleaseMetadata titlesOnly = MusicBrainzReleaseLookup::parseFullRelease(jsonText(uncredited));
    EXPECT_EQ(titlesOnly.title, u"ケアレス"_s);
    EXPECT_TRUE(titlesOnly.artist.isEmpty());

    QJsonObject whole = uncredited;
    whole.insert("artist-credit"_L1,
                 QJsonArray{QJsonObject{{"name"_L1, "Credited Artist"_L1},
                                        {"artist"_L1, QJsonObject{{"name"_L1, "Credited Artist"_L1}}}}});
    ASSERT_EQ(MusicBrainzReleaseLookup::parseFullRelease(jsonText(whole)).artist, u"Credited Artist"_s);

    QJsonObject untitledTrack = whole;
    QJsonArray media = untitledTrack.value("media"_L1).toArray();
    QJsonObject medium = media.at(0).toObject();
    QJsonArray tracks = medium.value("tracks"_L1).toArray();
    QJsonObject track = tracks.at(0).toObject();
    QJsonObject recording = track.value("recording"_L1).toObject();
    recording.insert("title"_L1, QJsonValue::Null);
    track.insert("recording"_L1, recording);
    track.insert("title"_L1, QJsonValue::Null);
    tracks.replace(0, track);
    medium.insert("tracks"_L1, tracks);
    media.replace(0, medium);
    untitledTrack.insert("media"_L1, media);

    QJsonObject nullTitle = whole;
    nullTitle.insert("title"_L1, QJsonValue::Null);
    QJsonObject nullCredit = whole;
    nullCredit.insert("artist-credit"_L1, QJsonValue::Null);
    QJsonObject emptyCredit = whole;
    emptyCredit.insert("artist-credit"_L1, QJsonArray());
    for (const QJsonObject& answer : {untitledTrack, nullTitle, nullCredit, emptyCredit}) {
        try {
            MusicBrainzReleaseLookup::parseFullRelease(jsonText(answer));
            ADD_FAILURE() << jsonText(answer).left(200).constData();
        } catch (const LookupError& error) {
            EXPECT_EQ(error.kind(), LookupError::Kind::parseError);
        }
    }
}

TEST(MusicBrainzFullRelease, AnAnswerThatIsNoObjectIsAParseError)
{
    for (const QByteArray& body : {QByteArray("[]"), QByteArray("<html></html>"), QByteArray()}) {
        try {
            MusicBrainzReleaseLookup::parseFullRelease(body);
            ADD_FAILURE() << body.constData();
        } catch (const LookupError& error) {
            EXPECT_EQ(error.kind(), LookupError::Kind::parseError);
        }
    }
}

class MusicBrainzSearchTest : public ::testing::Test {
protected:
    FakeServices services;
    std::shared_ptr<FakeClock> clock = std::make_shared<FakeClock>();
    MetadataHTTPClient client{MetadataHTTPClient::Options{.clock = clock}};
    const QString path = u"/ws/2/release"_s;

    // Browses and searches share a path; the query tells them apart.
    void answer(const FakeResponse& browse, const FakeResponse& search)
    {
        services.musicBrainz.route(path, [browse, search](const FakeRequest& request) {
            return request.target.contains("release-group=") ? browse : search;
        });
    }

    QCoro::Task<QList<ReleaseCandidate>> search(std::optional<QString> releaseGroup)
    {
        return MusicBrainzReleaseLookup::searchCandidates(u"Pink Floyd"_s, u"The Dark Side of the Moon"_s,
                                                          std::move(releaseGroup), 25, client);
    }
};

TEST_F(MusicBrainzSearchTest, TheReleaseGroupComesFirstAndEachReleaseOnce)
{
    answer(FakeResponse::ok(answerOf({releaseObject(u"b"_s), releaseObject(u"a"_s), releaseObject(u"b"_s)})),
           FakeResponse::ok(answerOf({releaseObject(u"c"_s), releaseObject(u"a"_s), releaseObject(u"d"_s)})));
    const QList<ReleaseCandidate> candidates = BlockingWait::wait(search(u"rg-1"_s));
    EXPECT_EQ(idsOf(candidates), (QStringList{u"b"_s, u"a"_s, u"c"_s, u"d"_s}));

    const QList<FakeRequest> requests = services.musicBrainz.requests();
    ASSERT_EQ(requests.size(), 2);
    const QUrl browse(QString::fromUtf8(requests.at(0).target));
    const QUrl byName(QString::fromUtf8(requests.at(1).target));
    EXPECT_EQ(queryValue(browse, u"release-group"_s), u"rg-1"_s);
    EXPECT_EQ(queryValue(byName, u"query"_s), u"artist:Pink Floyd AND release:The Dark Side of the Moon"_s);
    EXPECT_EQ(queryValue(byName, u"limit"_s), u"25"_s);
}

TEST_F(MusicBrainzSearchTest, WithoutAReleaseGroupOrAfterAFailedBrowseTheNameSearchRuns)
{
    answer(FakeResponse::withStatus(500), FakeResponse::ok(testData(u"metadata/musicbrainz/release-search.json"_s)));
    EXPECT_EQ(BlockingWait::wait(search(std::nullopt)).size(), 3);
    EXPECT_EQ(BlockingWait::wait(search(QString())).size(), 3);
    EXPECT_EQ(services.musicBrainz.requests().size(), 2) << "no browse without a release group";
    EXPECT_EQ(BlockingWait::wait(search(u"rg-1"_s)).size(), 3) << "a failed browse does not end the search";
}

TEST_F(MusicBrainzSearchTest, NothingFoundAfterAFailureRethrowsIt)
{
    answer(FakeResponse::withStatus(500), FakeResponse::ok("<html>Bad Gateway</html>", "text/html"));
    EXPECT_EQ(awaitFailure<LookupError>(search(u"rg-1"_s)).kind(), LookupError::Kind::parseError);

    answer(FakeResponse::withStatus(502), FakeResponse::ok(answerOf({})));
    const LookupError browseFailure = awaitFailure<LookupError>(search(u"rg-1"_s));
    EXPECT_EQ(browseFailure.kind(), LookupError::Kind::networkError);
    EXPECT_EQ(browseFailure.message(), u"Couldn't reach MusicBrainz: The service returned an error (HTTP 502)."_s);

    answer(FakeResponse::ok(answerOf({})), FakeResponse::ok(answerOf({})));
    EXPECT_TRUE(BlockingWait::wait(search(u"rg-1"_s)).isEmpty()) << "nothing found on clean answers is no failure";
}

TEST_F(MusicBrainzSearchTest, FetchesOneReleaseWholeOrFailsInKinds)
{
    const QString id = u"6c4f766f-3351-4c10-a53d-b119452c27b2"_s;
    services.musicBrainz.route(path + u'/' + id,
                               FakeResponse::ok(testData(u"metadata/musicbrainz/release_multidisc.json"_s)));
    const ReleaseMetadata release = BlockingWait::wait(MusicBrainzReleaseLookup::fetchRelease(id, client));
    EXPECT_EQ(release.tracks.size(), 7);
    EXPECT_EQ(queryValue(QUrl(QString::fromUtf8(services.musicBrainz.requests().at(0).target)), u"inc"_s),
              u"artists+recordings+genres"_s);

    services.musicBrainz.route(path + u"/gone"_s, FakeResponse::withStatus(404));
    services.musicBrainz.route(path + u"/page"_s, FakeResponse::ok("<html>Sorry</html>", "text/html"));
    EXPECT_EQ(awaitFailure<LookupError>(MusicBrainzReleaseLookup::fetchRelease(u"gone"_s, client)).kind(),
              LookupError::Kind::noMatchFound);
    EXPECT_EQ(awaitFailure<LookupError>(MusicBrainzReleaseLookup::fetchRelease(u"page"_s, client)).kind(),
              LookupError::Kind::parseError);
    EXPECT_EQ(awaitFailure<LookupError>(MusicBrainzReleaseLookup::fetchRelease(QString(), client)).kind(),
              LookupError::Kind::noMatchFound);
    EXPECT_EQ(services.musicBrainz.requests().size(), 3) << "no request without an ID";
}
