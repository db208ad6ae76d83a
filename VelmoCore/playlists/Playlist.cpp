#include "Playlist.h"

#include "library/JsonCoding.h"

using namespace Qt::StringLiterals;

void Playlist::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    w.field("name"_L1, name);
    Json::writeUuidList(w, "trackIDs"_L1, trackIDs);
    Json::writeDate(w, "dateCreated"_L1, dateCreated);
    Json::writeDate(w, "dateModified"_L1, dateModified);
    w.endObject();
}

Playlist Playlist::fromJson(const JsonObject& o)
{
    return {
        .id = Json::requireUuid(o, "id"_L1),
        .name = Json::requireString(o, "name"_L1),
        .trackIDs = Json::requireUuidList(o, "trackIDs"_L1),
        .dateCreated = Json::requireDate(o, "dateCreated"_L1),
        .dateModified = Json::requireDate(o, "dateModified"_L1),
    };
}
