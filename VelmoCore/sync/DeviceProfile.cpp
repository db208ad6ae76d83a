#include "DeviceProfile.h"

#include "library/DisplayText.h"
#include "library/JsonCoding.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// A map with UUID keys is stored as one array of alternating key and value.
void writePodcastConfigs(JsonWriter& w, const QHash<QUuid, PodcastDeviceConfig>& configs)
{
    QStringList keys;
    for (auto it = configs.cbegin(); it != configs.cend(); ++it)
        keys.append(Json::uuidString(it.key()));
    std::sort(keys.begin(), keys.end());
    w.key("podcastConfigs"_L1);
    w.beginArray();
    for (const QString& key : keys) {
        w.value(key);
        w.beginObject();
        w.field("enabled"_L1, configs.value(QUuid::fromString(key)).enabled);
        w.endObject();
    }
    w.endArray();
}

QHash<QUuid, PodcastDeviceConfig> decodePodcastConfigs(const JsonArray& array)
{
    const auto key = "podcastConfigs"_L1;
    if (array.size() % 2 != 0)
        throw DecodingError(u"\"podcastConfigs\" has a key without a value"_s);
    QHash<QUuid, PodcastDeviceConfig> configs;
    for (qsizetype i = 0; i < array.size(); i += 2) {
        const QUuid podcastID = Json::toUuid(array.at(i), key);
        const JsonObject config = Json::toObject(array.at(i + 1), key);
        configs.insert(podcastID, {.enabled = Json::requireBool(config, "enabled"_L1)});
    }
    return configs;
}

} // namespace

QString DeviceProfile::contentSummary() const
{
    if (syncScope == SyncScope::fullLibrary)
        return u"Full Library"_s;
    const qsizetype playlists = playlistIDs.size() + smartPlaylistIDs.size();
    QStringList parts;
    if (playlists >= 1)
        parts.append(DisplayText::counted(playlists, u"playlist"_s));
    if (!manualTrackIDs.isEmpty())
        parts.append(DisplayText::counted(manualTrackIDs.size(), u"track"_s));
    return parts.isEmpty() ? u"No content selected"_s : parts.join(u" · "_s);
}

QString DeviceProfile::formatSummary() const
{
    switch (outputFormat) {
    case OutputFormat::keepSource:
        return u"Original format"_s;
    case OutputFormat::mp3:
        return u"MP3 · %1 kbps"_s.arg(transcodeBitrate);
    case OutputFormat::aac:
        return u"AAC · %1 kbps"_s.arg(transcodeBitrate);
    }
    return {};
}

void DeviceProfile::writeJson(JsonWriter& w) const
{
    w.beginObject();
    Json::writeUuid(w, "id"_L1, id);
    w.field("name"_L1, name);
    w.field("rootPath"_L1, rootPath);
    w.field("syncScope"_L1, rawValue(syncScope));
    Json::writeUuidList(w, "playlistIDs"_L1, playlistIDs);
    Json::writeUuidList(w, "smartPlaylistIDs"_L1, smartPlaylistIDs);
    Json::writeUuidList(w, "manualTrackIDs"_L1, manualTrackIDs);
    w.field("outputFormat"_L1, rawValue(outputFormat));
    w.field("transcodeBitrate"_L1, transcodeBitrate);
    w.field("folderStructure"_L1, rawValue(folderStructure));
    w.field("syncPlaylists"_L1, syncPlaylists);
    w.field("syncPodcasts"_L1, syncPodcasts);
    writePodcastConfigs(w, podcastConfigs);
    w.field("musicFolder"_L1, musicFolder);
    w.field("podcastsFolder"_L1, podcastsFolder);
    w.field("playlistsFolder"_L1, playlistsFolder);
    w.endObject();
}

DeviceProfile DeviceProfile::fromJson(const JsonObject& o)
{
    const auto uuidList = [&o](QLatin1StringView key) {
        const auto value = Json::optional(o, key);
        return value ? Json::toUuidList(Json::toArray(*value, key), key) : QList<QUuid>();
    };
    const auto text = [&o](QLatin1StringView key, const QString& fallback) {
        return Json::optionalString(o, key).value_or(fallback);
    };

    DeviceProfile profile;
    profile.id = Json::requireUuid(o, "id"_L1);
    profile.name = Json::requireString(o, "name"_L1);
    profile.rootPath = Json::requireString(o, "rootPath"_L1);
    profile.syncScope = Json::requireEnum<SyncScope>(o, "syncScope"_L1);
    profile.playlistIDs = Json::requireUuidList(o, "playlistIDs"_L1);
    profile.smartPlaylistIDs = uuidList("smartPlaylistIDs"_L1);
    profile.manualTrackIDs = uuidList("manualTrackIDs"_L1);
    profile.outputFormat = Json::requireEnum<OutputFormat>(o, "outputFormat"_L1);
    profile.transcodeBitrate = Json::requireInteger(o, "transcodeBitrate"_L1);
    profile.folderStructure = Json::requireEnum<FolderStructure>(o, "folderStructure"_L1);
    profile.syncPlaylists = Json::requireBool(o, "syncPlaylists"_L1);
    profile.syncPodcasts = Json::requireBool(o, "syncPodcasts"_L1);
    if (const auto configs = Json::optional(o, "podcastConfigs"_L1))
        profile.podcastConfigs = decodePodcastConfigs(Json::toArray(*configs, "podcastConfigs"_L1));
    profile.musicFolder = text("musicFolder"_L1, profile.musicFolder);
    profile.podcastsFolder = text("podcastsFolder"_L1, profile.podcastsFolder);
    profile.playlistsFolder = text("playlistsFolder"_L1, profile.playlistsFolder);
    return profile;
}
