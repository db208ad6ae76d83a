#include "PodcastStore.h"

#include "library/JsonCoding.h"
#include "library/StoreLocations.h"

using namespace Qt::StringLiterals;

namespace PodcastStore {

Contents decode(const JsonDocument& document)
{
    const auto store = document.root().toObject();
    if (!store)
        throw DecodingError(u"expected an object at the top level"_s);
    Contents contents;
    try {
        contents.podcasts = Json::decodeArray(Json::requireArray(*store, "podcasts"_L1), &Podcast::fromJson);
    } catch (const DecodingError& error) {
        throw error.within(u"podcasts"_s);
    }
    try {
        contents.episodes = Json::decodeArray(Json::requireArray(*store, "episodes"_L1), &Episode::fromJson);
    } catch (const DecodingError& error) {
        throw error.within(u"episodes"_s);
    }
    return contents;
}

QByteArray encode(const QList<Podcast>& podcasts, const QList<Episode>& episodes)
{
    JsonWriter writer;
    writer.beginObject();
    writer.key("podcasts"_L1);
    Json::writeArray(writer, podcasts);
    writer.key("episodes"_L1);
    Json::writeArray(writer, episodes);
    writer.endObject();
    return writer.take();
}

QString storePath()
{
    return StoreLocations::path(StoreKind::podcasts);
}

StoreRead<Contents> load()
{
    return StoreFile::read(storePath(), &decode);
}

std::optional<QString> save(const QList<Podcast>& podcasts, const QList<Episode>& episodes)
{
    return StoreFile::writeAtomically(storePath(), encode(podcasts, episodes));
}

} // namespace PodcastStore
