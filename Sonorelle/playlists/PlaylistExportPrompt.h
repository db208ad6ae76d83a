#pragma once

#include "widgets/SaveFilePicker.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

// "Export M3U8…" of both kinds of playlist.
namespace PlaylistExportPrompt {

// Asks where to save, offering the playlist's name plus ".m3u8" in the user's music folder,
// and hands the chosen file to `write`, which throws PlaylistExporter::ExportError. Gives the
// sentence of a failure, or nothing when the file was written or the user cancelled. A name
// that cannot be a file name fails before anything is asked.
std::optional<QString> run(QWidget* parent, const QString& playlistName, const SaveFilePicker& picker,
                           const std::function<void(const QUrl&)>& write);

// Where the picker opens.
QString startFolder();

} // namespace PlaylistExportPrompt
