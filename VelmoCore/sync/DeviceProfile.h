#pragma once

#include "library/RawValueEnum.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

class JsonObject;
class JsonWriter;

enum class SyncScope { fullLibrary, selectedPlaylists };
enum class OutputFormat { keepSource, mp3, aac };
enum class FolderStructure { artistAlbumTrack, mirrorLibrary, flat };

template <>
struct EnumRawValues<SyncScope> {
    static constexpr std::array values{std::pair{SyncScope::fullLibrary, "fullLibrary"},
                                       std::pair{SyncScope::selectedPlaylists, "selectedPlaylists"}};
};

template <>
struct EnumRawValues<OutputFormat> {
    static constexpr std::array values{std::pair{OutputFormat::keepSource, "keepSource"},
                                       std::pair{OutputFormat::mp3, "mp3"},
                                       std::pair{OutputFormat::aac, "aac"}};
};

template <>
struct EnumRawValues<FolderStructure> {
    static constexpr std::array values{std::pair{FolderStructure::artistAlbumTrack, "artistAlbumTrack"},
                                       std::pair{FolderStructure::mirrorLibrary, "mirrorLibrary"},
                                       std::pair{FolderStructure::flat, "flat"}};
};

struct PodcastDeviceConfig {
    bool enabled = true;

    bool operator==(const PodcastDeviceConfig&) const = default;
};

// The stored description of one removable device: where it is mounted, what of the library
// goes onto it, and in which format and layout.
struct DeviceProfile {
    QUuid id; // also written to the identity file on the device
    QString name;
    QString rootPath; // a plain path, not a URL
    SyncScope syncScope = SyncScope::fullLibrary;
    QList<QUuid> playlistIDs;
    QList<QUuid> smartPlaylistIDs;
    QList<QUuid> manualTrackIDs; // in the order of assignment
    OutputFormat outputFormat = OutputFormat::keepSource;
    qint64 transcodeBitrate = 320; // kbit/s
    FolderStructure folderStructure = FolderStructure::artistAlbumTrack;
    bool syncPlaylists = true;
    bool syncPodcasts = true;
    QHash<QUuid, PodcastDeviceConfig> podcastConfigs; // a podcast without an entry is included
    QString musicFolder = QStringLiteral("Music");
    QString podcastsFolder = QStringLiteral("Podcasts");
    QString playlistsFolder = QStringLiteral("Playlists");

    // "Full Library", "2 playlists · 3 tracks", "No content selected".
    QString contentSummary() const;
    // "Original format", "MP3 · 256 kbps".
    QString formatSummary() const;

    void writeJson(JsonWriter& writer) const;
    static DeviceProfile fromJson(const JsonObject& object);

    bool operator==(const DeviceProfile&) const = default;
};
