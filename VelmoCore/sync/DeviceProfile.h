#pragma once

#include "library/DeviceFormats.h"
#include "library/RawValueEnum.h"

#include <QHash>
#include <QList>
#include <QString>
#include <QUuid>

#include <array>
#include <optional>

class JsonObject;
class JsonWriter;

enum class SyncScope { fullLibrary, selectedPlaylists };

template <>
struct EnumRawValues<SyncScope> {
    static constexpr std::array values{std::pair{SyncScope::fullLibrary, "fullLibrary"},
                                       std::pair{SyncScope::selectedPlaylists, "selectedPlaylists"}};
};

// How large the cover embedded in each file on the device may be.
enum class CoverSize { original, px500, px300 };

template <>
struct EnumRawValues<CoverSize> {
    static constexpr std::array values{std::pair{CoverSize::original, "original"},
                                       std::pair{CoverSize::px500, "500px"},
                                       std::pair{CoverSize::px300, "300px"}};
};

struct PodcastDeviceConfig {
    bool enabled = true;

    bool operator==(const PodcastDeviceConfig&) const = default;
};

// The stored description of one removable device: where it is mounted, what of the library
// goes onto it, and in which format and layout.
struct DeviceProfile {
    // A setting that a sync must not act on: a folder that would leave the device's root, a
    // root that depends on the current folder, a bit rate the encoders do not take. A store
    // may hold one (written by hand, or by an older version); the profile is then kept and
    // shown as needing repair, and no sync runs with it.
    class Problem {
    public:
        enum class Kind { folderOutsideRoot, relativeRoot, unsupportedBitrate };

        // `field` is the setting's JSON name, `value` what it holds, as text.
        Problem(Kind kind, QString field, QString value);

        Kind kind() const { return m_kind; }
        const QString& field() const { return m_field; }
        const QString& value() const { return m_value; }
        // The sentence the user reads.
        QString message() const;

    private:
        Kind m_kind;
        QString m_field;
        QString m_value;
    };

    // The bit rates the MP3 and AAC encoders both take, in kbit/s.
    static constexpr std::array<qint64, 14> encoderBitrates{32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320};

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
    // None: 500 px for a profile that transcodes, the original for one that keeps the format.
    std::optional<CoverSize> coverSize;
    bool writeCoverFiles = false; // a "cover.jpg" in each album folder on the device

    // The cover size that applies, chosen or by default.
    CoverSize effectiveCoverSize() const;
    // The longest side a cover on the device may have, in pixels; none keeps it as it is.
    std::optional<int> coverPixels() const;

    // "Full Library", "2 playlists · 3 tracks", "No content selected".
    QString contentSummary() const;
    // "Original format", "MP3 · 256 kbps".
    QString formatSummary() const;

    // The first setting a sync must not act on, if any.
    std::optional<Problem> problem() const;
    // One or more plain names joined by "/": never empty, never "." or "..", never absolute.
    static std::optional<Problem> checkFolder(const QString& field, const QString& value);
    static std::optional<Problem> checkRootPath(const QString& value);
    static std::optional<Problem> checkBitrate(qint64 kbps);

    void writeJson(JsonWriter& writer) const;
    static DeviceProfile fromJson(const JsonObject& object);

    bool operator==(const DeviceProfile&) const = default;
};
