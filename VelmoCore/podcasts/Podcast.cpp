#include "Podcast.h"

#include "library/JsonCoding.h"

using namespace Qt::StringLiterals;

void Podcast::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    w.field("title"_L1, title);
    Json::writeUrl(w, "feedURL"_L1, feedURL);
    w.field("description"_L1, description);
    if (artworkURL)
        Json::writeUrl(w, "artworkURL"_L1, *artworkURL);
    if (lastFetched)
        Json::writeDate(w, "lastFetched"_L1, *lastFetched);
    w.key("autoDownloadRule"_L1);
    autoDownloadRule.writeJson(w);
    w.endObject();
}

Podcast Podcast::fromJson(const JsonObject& o)
{
    Podcast podcast;
    podcast.id = Json::requireUuid(o, "id"_L1);
    podcast.title = Json::requireString(o, "title"_L1);
    podcast.feedURL = Json::requireUrl(o, "feedURL"_L1);
    podcast.description = Json::requireString(o, "description"_L1);
    podcast.artworkURL = Json::optionalUrl(o, "artworkURL"_L1);
    podcast.lastFetched = Json::optionalDate(o, "lastFetched"_L1);
    // Files from before the rule existed still load.
    if (const auto rule = Json::optional(o, "autoDownloadRule"_L1))
        podcast.autoDownloadRule = PodcastAutoDownloadRule::fromJson(Json::toObject(*rule, "autoDownloadRule"_L1));
    return podcast;
}
