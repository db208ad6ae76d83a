#include "StoreLocations.h"

#include "FilePaths.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace StoreLocations {

namespace {

std::array<std::optional<QString>, allStoreKinds.size()>& overrides()
{
    static std::array<std::optional<QString>, allStoreKinds.size()> paths;
    return paths;
}

} // namespace

QString relativePath(StoreKind kind)
{
    switch (kind) {
    case StoreKind::library: return QStringLiteral("Sonorelle/library.json");
    case StoreKind::playlists: return QStringLiteral("Velmo/playlists.json");
    case StoreKind::smartPlaylists: return QStringLiteral("Velmo/smartplaylists.json");
    case StoreKind::deviceProfiles: return QStringLiteral("Velmo/device_profiles.json");
    case StoreKind::podcasts: return QStringLiteral("Velmo/podcasts.json");
    }
    Q_UNREACHABLE();
}

QString fileName(StoreKind kind)
{
    return FilePaths::lastPathComponent(relativePath(kind));
}

QString path(StoreKind kind)
{
    if (const auto& overridden = overrides()[std::size_t(kind)])
        return *overridden;
    return QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u'/' + relativePath(kind);
}

void setOverride(StoreKind kind, std::optional<QString> overridePath)
{
    overrides()[std::size_t(kind)] = std::move(overridePath);
}

QString lockFilePath()
{
    return QFileInfo(path(StoreKind::library)).absolutePath() + QStringLiteral("/sonorelle.lock");
}

} // namespace StoreLocations
