#pragma once

#include "DeviceFormats.h"
#include "RawValueEnum.h"
#include "RipStrategyKind.h"

#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// The settings keys, their types and defaults, in one place. Nothing is registered at
// start: a key not yet written, or holding a value of the wrong type, reads as its default.
namespace Settings {

template <typename T>
struct Key {
    const char* name;
    T defaultValue;
};

inline constexpr Key<bool> isOnboarded{"isOnboarded", false};
inline constexpr Key<bool> copyImportedFiles{"copyImportedFiles", false};
inline constexpr Key<RipStrategyKind> ripStrategy{"ripStrategy", RipStrategyKind::direct};
inline constexpr Key<OutputFormat> defaultOutputFormat{"defaultOutputFormat", OutputFormat::keepSource};
inline constexpr Key<qint64> defaultBitrate{"defaultBitrate", 320};
inline constexpr Key<FolderStructure> defaultFolderStructure{"defaultFolderStructure", FolderStructure::artistAlbumTrack};
inline constexpr Key<bool> defaultSyncPlaylists{"defaultSyncPlaylists", true};
inline constexpr Key<bool> defaultSyncPodcasts{"defaultSyncPodcasts", true};
// The ninth key has no default: its absence means that no library has been chosen.
inline constexpr const char* libraryRootPathKey = "libraryRootPath";
// Two of our own, for the update check: whether it runs at start, and when it last did (in
// seconds since 2001-01-01, as the stores count time), so that it runs at most once a day.
inline constexpr Key<bool> automaticallyCheckForUpdates{"automaticallyCheckForUpdates", false};
inline constexpr Key<qint64> lastUpdateCheck{"lastUpdateCheck", 0};
// The duplicate finder's last threshold, in hundredths.
inline constexpr Key<qint64> duplicateThresholdPercent{"duplicateThresholdPercent", 90};
// "Keep a rip log and cue sheet": a rip leaves both beside the album's tracks.
inline constexpr Key<bool> keepRipLog{"keepRipLog", true};
// "Verify with CTDB": each rip is also checked against the CUETools database.
inline constexpr Key<bool> verifyWithCTDB{"verifyWithCTDB", true};
// Whether a rip, and a folder import, end by writing the new tracks' ReplayGain tags.
inline constexpr Key<bool> analyseLoudnessAfterRipping{"analyseLoudnessAfterRipping", true};
inline constexpr Key<bool> analyseLoudnessAfterImport{"analyseLoudnessAfterImport", false};
// The most the transcode cache keeps, in bytes.
inline constexpr Key<qint64> transcodeCacheLimit{"transcodeCacheLimit", qint64(2) << 30};

bool value(const Key<bool>& key);
qint64 value(const Key<qint64>& key);
void setValue(const Key<bool>& key, bool value);
void setValue(const Key<qint64>& key, qint64 value);

QString rawString(const char* key);
void setRawString(const char* key, const QString& value);

template <typename E>
E value(const Key<E>& key)
{
    return enumFromRawValue<E>(rawString(key.name)).value_or(key.defaultValue);
}

template <typename E>
void setValue(const Key<E>& key, E value)
{
    setRawString(key.name, rawValue(value));
}

// The read offset of a drive in samples, by its udev vendor and model ("readOffsets/<drive>");
// 0 for a drive never set.
qint64 readOffset(const QString& drive);
void setReadOffset(const QString& drive, qint64 samples);
// The drives that have an offset, by the names they are kept under.
QStringList drivesWithReadOffset();

std::optional<QString> libraryRootPath();
void setLibraryRootPath(const QString& path);
// The root as a file URL, or none when no library has been chosen.
std::optional<QUrl> libraryRootURL();

} // namespace Settings
