#pragma once

#include "sync/DeviceProfile.h"

#include <QString>

// The words the device screens use for a profile and a run.
namespace DeviceDisplay {

// A profile is connected exactly when something exists at its root.
bool isConnected(const DeviceProfile& profile);
// "Connected" or "Not connected"; "Needs repair" for a profile no sync may act on.
QString connectionText(const DeviceProfile& profile);
// Why a profile cannot be synced and what to do, or empty when it can.
QString repairText(const DeviceProfile& profile);
// "Artist/Album/Track", "Mirror Library", "Flat".
QString shortStructureLabel(FolderStructure structure);
// The editor's labels: "Artist / Album / Track", "Mirror Library Layout", "Flat (all files in root)".
QString structureLabel(FolderStructure structure);
// "Keep Original", "MP3", "AAC".
QString formatLabel(OutputFormat format);
// Content, format and structure, joined by "  ·  ".
QString caption(const DeviceProfile& profile);
// "3 items added  ·  1 item removed", either part left out when below 1, or "Up to date".
QString finishedText(qint64 added, qint64 removed);

} // namespace DeviceDisplay
