#include "PodcastAutoDownloadRule.h"

#include "library/JsonCoding.h"

using namespace Qt::StringLiterals;

void PodcastAutoDownloadRule::writeJson(JsonWriter& w) const
{
    // One key naming the case, holding an object with the payload.
    w.beginObject();
    if (const auto* latest = std::get_if<LatestN>(&value)) {
        w.key("latestN"_L1);
        w.beginObject();
        w.field("_0"_L1, latest->count);
    } else if (const auto* newer = std::get_if<NewerThan>(&value)) {
        w.key("newerThan"_L1);
        w.beginObject();
        w.field("days"_L1, newer->days);
    } else {
        w.key("none"_L1);
        w.beginObject();
    }
    w.endObject();
    w.endObject();
}

PodcastAutoDownloadRule PodcastAutoDownloadRule::fromJson(const JsonObject& o)
{
    const bool hasNone = o.contains("none"_L1);
    const bool hasLatest = o.contains("latestN"_L1);
    const bool hasNewer = o.contains("newerThan"_L1);
    if (int(hasNone) + int(hasLatest) + int(hasNewer) != 1)
        throw DecodingError(u"Invalid number of keys found, expected one."_s);
    if (hasLatest)
        return latestN(Json::requireInteger(Json::requireObject(o, "latestN"_L1), "_0"_L1));
    if (hasNewer)
        return newerThan(Json::requireInteger(Json::requireObject(o, "newerThan"_L1), "days"_L1));
    Json::requireObject(o, "none"_L1);
    return none();
}
