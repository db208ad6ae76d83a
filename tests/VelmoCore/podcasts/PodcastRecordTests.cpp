#include "support/JsonHelpers.h"
#include "podcasts/PodcastStore.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

PodcastAutoDownloadRule rule(const char* json)
{
    return Json::decode<PodcastAutoDownloadRule>(json);
}

Podcast samplePodcast()
{
    return {
        .id = QUuid::createUuid(),
        .title = u"Late Night Radio"_s,
        .feedURL = QUrl(u"https://example.org/feed.xml"_s),
        .description = u"<p>Raw <b>HTML</b></p>"_s,
        .artworkURL = QUrl(u"https://example.org/art.jpg"_s),
        .lastFetched = Date{800000000.5},
        .autoDownloadRule = PodcastAutoDownloadRule::latestN(3),
    };
}

Episode sampleEpisode(const QUuid& podcastID)
{
    return {
        .id = QUuid::createUuid(),
        .podcastID = podcastID,
        .title = u"Episode 1"_s,
        .episodeDescription = u"Notes"_s,
        .publishDate = Date{799999999},
        .duration = 3723,
        .remoteURL = QUrl(u"https://example.org/ep1.mp3?x=1"_s),
        .localURL = QUrl::fromLocalFile(u"/music/Podcasts/Late Night Radio/Episode 1.mp3"_s),
        .isPlayed = true,
        .downloadState = DownloadState::downloaded,
        .guid = u"ep-1"_s,
    };
}

} // namespace

TEST(PodcastAutoDownloadRuleJson, EachCaseHasItsOneKeyForm)
{
    EXPECT_EQ(Json::encode(PodcastAutoDownloadRule::none()), R"({"none":{}})");
    EXPECT_EQ(Json::encode(PodcastAutoDownloadRule::latestN(5)), R"({"latestN":{"_0":5}})");
    EXPECT_EQ(Json::encode(PodcastAutoDownloadRule::newerThan(30)), R"({"newerThan":{"days":30}})");
    EXPECT_EQ(rule(R"({"latestN":{"_0":5}})"), PodcastAutoDownloadRule::latestN(5));
    EXPECT_EQ(rule(R"({"newerThan":{"days":30}})"), PodcastAutoDownloadRule::newerThan(30));
    EXPECT_EQ(rule(R"({"none":{}})"), PodcastAutoDownloadRule::none());
}

TEST(PodcastAutoDownloadRuleJson, NoneOrTwoKnownKeysAreRejectedWithTheSentence)
{
    for (const char* json : {R"({})", R"({"none":{},"latestN":{"_0":1}})"}) {
        try {
            rule(json);
            ADD_FAILURE() << json;
        } catch (const DecodingError& error) {
            EXPECT_EQ(error.message(), u"Invalid number of keys found, expected one."_s);
        }
    }
    EXPECT_THROW(rule(R"({"latestN":{}})"), DecodingError);
    EXPECT_THROW(rule(R"({"newerThan":{"_0":3}})"), DecodingError);
}

TEST(PodcastStoreJson, RoundTripsBothListsAndLeavesOutAbsentOptionals)
{
    const Podcast podcast = samplePodcast();
    Episode downloaded = sampleEpisode(podcast.id);
    Episode fresh = sampleEpisode(podcast.id);
    fresh.localURL = std::nullopt;
    fresh.guid = std::nullopt;
    fresh.downloadState = DownloadState::downloading;

    const QByteArray bytes = PodcastStore::encode({podcast}, {downloaded, fresh});
    const PodcastStore::Contents decoded = PodcastStore::decode(JsonDocument::parse(bytes));
    EXPECT_EQ(decoded.podcasts, QList<Podcast>{podcast});
    EXPECT_EQ(decoded.episodes, (QList<Episode>{downloaded, fresh}));

    const QJsonObject freshJson = toQt(fresh);
    EXPECT_FALSE(freshJson.contains("localURL"_L1));
    EXPECT_FALSE(freshJson.contains("guid"_L1));
    EXPECT_EQ(freshJson.value("downloadState"_L1).toString(), u"downloading"_s);
    EXPECT_FALSE(bytes.contains("null"));

    QJsonObject withoutRule = toQt(podcast);
    withoutRule.remove("autoDownloadRule"_L1);
    withoutRule.remove("artworkURL"_L1);
    EXPECT_EQ(fromQt<Podcast>(withoutRule).autoDownloadRule, PodcastAutoDownloadRule::none()) << "a podcast without a rule";
    EXPECT_EQ(fromQt<Podcast>(withoutRule).artworkURL, std::nullopt);
}

TEST(PodcastStoreJson, BadContentFailsTheWholeStore)
{
    const Podcast podcast = samplePodcast();
    QJsonObject badEpisode = toQt(sampleEpisode(podcast.id));
    badEpisode.insert("downloadState"_L1, u"paused"_s);
    const QJsonObject store{{u"podcasts"_s, QJsonArray{toQt(podcast)}}, {u"episodes"_s, QJsonArray{badEpisode}}};
    EXPECT_THROW(PodcastStore::decode(JsonDocument::parse(QJsonDocument(store).toJson())), DecodingError);

    const QJsonObject onlyPodcasts{{u"podcasts"_s, QJsonArray{toQt(podcast)}}};
    EXPECT_THROW(PodcastStore::decode(JsonDocument::parse(QJsonDocument(onlyPodcasts).toJson())), DecodingError);
    EXPECT_THROW(PodcastStore::decode(JsonDocument::parse("[]")), DecodingError);
}
