#include "PlaylistExportPrompt.h"

#include "playlists/PlaylistExporter.h"

#include <QDir>
#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace PlaylistExportPrompt {

QString startFolder()
{
    const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    return music.isEmpty() || !QDir(music).exists() ? QDir::homePath() : music;
}

std::optional<QString> run(QWidget* parent, const QString& playlistName, const SaveFilePicker& picker,
                           const std::function<void(const QUrl&)>& write)
{
    try {
        const QUrl suggested = PlaylistExporter::fileURL(playlistName, QUrl::fromLocalFile(startFolder()));
        const SaveFilePickerRequest request{
            .title = u"Export Playlist"_s,
            .suggestedPath = suggested.toLocalFile(),
            .fileExtension = PlaylistExporter::fileExtension,
            .fileTypeName = u"M3U8 Playlist"_s,
        };
        const std::optional<QString> chosen = picker(parent, request);
        if (!chosen)
            return std::nullopt;
        write(QUrl::fromLocalFile(*chosen));
        return std::nullopt;
    } catch (const PlaylistExporter::ExportError& error) {
        return error.message();
    }
}

} // namespace PlaylistExportPrompt
