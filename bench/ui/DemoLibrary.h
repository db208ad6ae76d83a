#pragma once

#include <QString>

// A music folder of real, tagged FLAC files with painted covers, for looking at the screens
// with a library: `sonorelle_ui_bench --demo-library FOLDER ALBUMS`.
inline constexpr char demoLibraryArgument[] = "--demo-library";

// Writes ALBUMS albums of 8 to 14 tracks below the folder and returns the exit status.
int writeDemoLibrary(const QString& folder, int albums);
