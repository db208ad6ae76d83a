#include "Episode.h"

#include "library/JsonCoding.h"

using namespace Qt::StringLiterals;

void Episode::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    Json::writeUuid(w, "podcastID"_L1, podcastID);
    w.field("title"_L1, title);
    w.field("episodeDescription"_L1, episodeDescription);
    Json::writeDate(w, "publishDate"_L1, publishDate);
    w.field("duration"_L1, duration);
    Json::writeUrl(w, "remoteURL"_L1, remoteURL);
    if (localURL)
        Json::writeUrl(w, "localURL"_L1, *localURL);
    w.field("isPlayed"_L1, isPlayed);
    w.field("downloadState"_L1, rawValue(downloadState));
    Json::writeIfPresent(w, "guid"_L1, guid);
    w.endObject();
}

Episode Episode::fromJson(const JsonObject& o)
{
    return {
        .id = Json::requireUuid(o, "id"_L1),
        .podcastID = Json::requireUuid(o, "podcastID"_L1),
        .title = Json::requireString(o, "title"_L1),
        .episodeDescription = Json::requireString(o, "episodeDescription"_L1),
        .publishDate = Json::requireDate(o, "publishDate"_L1),
        .duration = Json::requireNumber(o, "duration"_L1),
        .remoteURL = Json::requireUrl(o, "remoteURL"_L1),
        .localURL = Json::optionalUrl(o, "localURL"_L1),
        .isPlayed = Json::requireBool(o, "isPlayed"_L1),
        .downloadState = Json::requireEnum<DownloadState>(o, "downloadState"_L1),
        .guid = Json::optionalString(o, "guid"_L1),
    };
}
