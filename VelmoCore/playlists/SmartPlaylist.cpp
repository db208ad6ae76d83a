#include "SmartPlaylist.h"

#include "library/CodePointOrder.h"
#include "library/JsonCoding.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// Sorted (strings by code points, independent of the locale), so one set gives one text.
template <typename T>
void writeSorted(JsonWriter& w, QLatin1StringView key, const QSet<T>& set)
{
    QList<T> values(set.cbegin(), set.cend());
    if constexpr (std::is_same_v<T, QString>)
        CodePointOrder::sort(values);
    else
        std::sort(values.begin(), values.end());
    w.key(key);
    w.beginArray();
    for (const T& value : values)
        w.value(value);
    w.endArray();
}

QSet<QString> stringSet(const JsonObject& o, QLatin1StringView key)
{
    QSet<QString> set;
    for (const JsonValue& value : Json::requireArray(o, key))
        set.insert(Json::toString(value, key));
    return set;
}

QSet<qint64> integerSet(const JsonObject& o, QLatin1StringView key)
{
    QSet<qint64> set;
    for (const JsonValue& value : Json::requireArray(o, key))
        set.insert(Json::toInteger(value, key));
    return set;
}

} // namespace

void SmartPlaylist::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    w.field("name"_L1, name);
    writeSorted(w, "filterArtists"_L1, filterArtists);
    writeSorted(w, "filterGenres"_L1, filterGenres);
    writeSorted(w, "filterDecades"_L1, filterDecades);
    Json::writeDate(w, "dateCreated"_L1, dateCreated);
    Json::writeDate(w, "dateModified"_L1, dateModified);
    w.endObject();
}

SmartPlaylist SmartPlaylist::fromJson(const JsonObject& o)
{
    return {
        .id = Json::requireUuid(o, "id"_L1),
        .name = Json::requireString(o, "name"_L1),
        .filterArtists = stringSet(o, "filterArtists"_L1),
        .filterGenres = stringSet(o, "filterGenres"_L1),
        .filterDecades = integerSet(o, "filterDecades"_L1),
        .dateCreated = Json::requireDate(o, "dateCreated"_L1),
        .dateModified = Json::requireDate(o, "dateModified"_L1),
    };
}
