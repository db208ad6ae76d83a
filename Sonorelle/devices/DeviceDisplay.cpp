#include "DeviceDisplay.h"

#include <QFileInfo>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace DeviceDisplay {

bool isConnected(const DeviceProfile& profile)
{
    return !profile.rootPath.isEmpty() && QFileInfo::exists(profile.rootPath);
}

QString connectionText(const DeviceProfile& profile)
{
    if (profile.problem())
        return u"Needs repair"_s;
    return isConnected(profile) ? u"Connected"_s : u"Not connected"_s;
}

QString repairText(const DeviceProfile& profile)
{
    const std::optional<DeviceProfile::Problem> problem = profile.problem();
    if (!problem)
        return {};
    return u"This device needs repair before it can be synced: %1 Choose Edit… to repair it."_s.arg(problem->message());
}

QString shortStructureLabel(FolderStructure structure)
{
    switch (structure) {
    case FolderStructure::artistAlbumTrack: return u"Artist/Album/Track"_s;
    case FolderStructure::mirrorLibrary: return u"Mirror Library"_s;
    case FolderStructure::flat: return u"Flat"_s;
    }
    return {};
}

QString structureLabel(FolderStructure structure)
{
    switch (structure) {
    case FolderStructure::artistAlbumTrack: return u"Artist / Album / Track"_s;
    case FolderStructure::mirrorLibrary: return u"Mirror Library Layout"_s;
    case FolderStructure::flat: return u"Flat (all files in root)"_s;
    }
    return {};
}

QString formatLabel(OutputFormat format)
{
    switch (format) {
    case OutputFormat::keepSource: return u"Keep Original"_s;
    case OutputFormat::mp3: return u"MP3"_s;
    case OutputFormat::aac: return u"AAC"_s;
    }
    return {};
}

QString caption(const DeviceProfile& profile)
{
    return QStringList{profile.contentSummary(), profile.formatSummary(), shortStructureLabel(profile.folderStructure)}
        .join(u"  ·  "_s);
}

QString finishedText(qint64 added, qint64 removed)
{
    const auto part = [](qint64 count, const QString& what) {
        return u"%1 %2 %3"_s.arg(count).arg(count == 1 ? u"item"_s : u"items"_s, what);
    };
    QStringList parts;
    if (added >= 1)
        parts.append(part(added, u"added"_s));
    if (removed >= 1)
        parts.append(part(removed, u"removed"_s));
    return parts.isEmpty() ? u"Up to date"_s : parts.join(u"  ·  "_s);
}

} // namespace DeviceDisplay
