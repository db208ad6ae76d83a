#pragma once

#include <QString>

#include <array>
#include <optional>

// The five store files. They lie in the user's data folder, not under the library root,
// and by design in two folders: library.json alone in "Sonorelle", the others in "Velmo".
enum class StoreKind { library, playlists, smartPlaylists, deviceProfiles, podcasts };

inline constexpr std::array allStoreKinds{StoreKind::library, StoreKind::playlists, StoreKind::smartPlaylists,
                                          StoreKind::deviceProfiles, StoreKind::podcasts};

namespace StoreLocations {

// "Sonorelle/library.json", "Velmo/playlists.json", ...
QString relativePath(StoreKind kind);
QString fileName(StoreKind kind);

// The override when one is set, else the file below the data folder.
QString path(StoreKind kind);

// Process-wide; the program itself never sets one. Tests point the stores at temporary files.
void setOverride(StoreKind kind, std::optional<QString> path);

// Beside library.json: held by the one process that may write the stores.
QString lockFilePath();

} // namespace StoreLocations
