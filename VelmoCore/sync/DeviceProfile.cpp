#include "DeviceProfile.h"

#include "library/DisplayText.h"
#include "library/JsonCoding.h"
#include "library/Uuid.h"

#include <QStringList>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

// A map with UUID keys is stored as one array of alternating key and value.
void writePodcastConfigs(JsonWriter& w, const QHash<QUuid, PodcastDeviceConfig>& configs)
{
    QStringList keys;
    for (auto it = configs.cbegin(); it != configs.cend(); ++it)
        keys.append(Uuid::text(it.key()));
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

DeviceProfile::Problem::Problem(Kind kind, QString field, QString value)
    : m_kind(kind)
    , m_field(std::move(field))
    , m_value(std::move(value))
{
}

QString DeviceProfile::Problem::message() const
{
    switch (m_kind) {
    case Kind::folderOutsideRoot:
        return u"%1 must name a folder inside the device, such as “Music” or “Audio/Music”, not “%2”: "
               "no empty name, no “..” and no leading “/”."_s.arg(m_field, m_value);
    case Kind::relativeRoot:
        return u"rootPath must be an absolute path, such as “/media/player”, not “%1”."_s.arg(m_value);
    case Kind::unsupportedBitrate: {
        QStringList rates;
        for (const qint64 rate : encoderBitrates)
            rates.append(QString::number(rate));
        return u"transcodeBitrate must be one of %1 (kbit/s), not %2."_s.arg(rates.join(u", "_s), m_value);
    }
    }
    Q_UNREACHABLE();
}

std::optional<DeviceProfile::Problem> DeviceProfile::checkFolder(const QString& field, const QString& value)
{
    const QStringList components = value.split(u'/');
    const bool plain = !value.startsWith(u'/') && std::all_of(components.cbegin(), components.cend(), [](const QString& c) {
        return !c.isEmpty() && c != u"."_s && c != u".."_s
            && std::none_of(c.cbegin(), c.cend(), [](QChar ch) { return ch.unicode() < 0x20 || ch.unicode() == 0x7f; });
    });
    if (plain)
        return std::nullopt;
    return Problem(Problem::Kind::folderOutsideRoot, field, value);
}

std::optional<DeviceProfile::Problem> DeviceProfile::checkRootPath(const QString& value)
{
    if (value.startsWith(u'/'))
        return std::nullopt;
    return Problem(Problem::Kind::relativeRoot, u"rootPath"_s, value);
}

std::optional<DeviceProfile::Problem> DeviceProfile::checkBitrate(qint64 kbps)
{
    if (std::find(encoderBitrates.cbegin(), encoderBitrates.cend(), kbps) != encoderBitrates.cend())
        return std::nullopt;
    return Problem(Problem::Kind::unsupportedBitrate, u"transcodeBitrate"_s, QString::number(kbps));
}

std::optional<DeviceProfile::Problem> DeviceProfile::problem() const
{
    if (auto found = checkRootPath(rootPath))
        return found;
    if (auto found = checkFolder(u"musicFolder"_s, musicFolder))
        return found;
    if (auto found = checkFolder(u"podcastsFolder"_s, podcastsFolder))
        return found;
    if (auto found = checkFolder(u"playlistsFolder"_s, playlistsFolder))
        return found;
    return checkBitrate(transcodeBitrate);
}

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

CoverSize DeviceProfile::effectiveCoverSize() const
{
    return coverSize.value_or(outputFormat == OutputFormat::keepSource ? CoverSize::original : CoverSize::px500);
}

std::optional<int> DeviceProfile::coverPixels() const
{
    switch (effectiveCoverSize()) {
    case CoverSize::original: return std::nullopt;
    case CoverSize::px500: return 500;
    case CoverSize::px300: return 300;
    }
    return std::nullopt;
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
    if (coverSize)
        w.field("coverSize"_L1, rawValue(*coverSize));
    w.field("writeCoverFiles"_L1, writeCoverFiles);
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
    if (const auto size = Json::optional(o, "coverSize"_L1))
        profile.coverSize = Json::toEnum<CoverSize>(*size, "coverSize"_L1);
    if (const auto files = Json::optional(o, "writeCoverFiles"_L1))
        profile.writeCoverFiles = Json::toBool(*files, "writeCoverFiles"_L1);
    return profile;
}
