#pragma once

#include "Playlist.h"
#include "library/Track.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>
#include <stdexcept>

// Extended M3U files: UTF-8 without a byte order mark, every line ended by one line feed.
// The same text serves the export command, with paths to the library's files, and the
// device sync, with paths to the files on the device.
namespace PlaylistExporter {

class ExportError : public std::runtime_error {
public:
    enum class Kind {
        unsafeName,   // the playlist's name would not make a file inside the folder
        notALocalFile,
        writeFailed,
    };

    ExportError(Kind kind, const QString& subject, const QString& detail = {});

    Kind kind() const { return m_kind; }
    // The playlist's name for unsafeName, otherwise the target.
    const QString& subject() const { return m_subject; }
    QString message() const;

private:
    Kind m_kind;
    QString m_subject;
    QString m_detail;
};

// Where a track's line points; nothing means the track's own url.
using UrlResolver = std::function<std::optional<QUrl>(const Track&)>;

inline const QString fileExtension = QStringLiteral(".m3u8");

// The file's text. An entry whose track is unknown gives no lines, and so does one whose path
// holds a line break, which no line could carry; a line break in the label becomes a blank. With a base folder the
// paths are relative to it, otherwise absolute; neither is ever percent-encoded.
QString m3u8(const Playlist& playlist, const QList<Track>& tracks, const std::optional<QUrl>& relativeTo = {},
             const UrlResolver& urlResolver = {});

// Writes the text atomically; with `relativePaths` the paths are relative to the file's
// folder. Does not create the folder. Throws ExportError.
void write(const Playlist& playlist, const QList<Track>& tracks, const QUrl& to, bool relativePaths,
           const UrlResolver& urlResolver = {});

// From the decoded path of a folder to a decoded path, component by component and exactly:
// "/a/x" to "/a/y/z" gives "../y/z", a path to itself ".".
QString relativePath(const QString& base, const QString& target);

// The seconds of an #EXTINF line: the duration truncated towards zero.
qint64 extinfSeconds(double duration);

// The file a playlist gets when it is written into a folder by its name: the name plus
// ".m3u8". Throws ExportError (unsafeName) for a name holding "/" or made only of dots,
// which would put the file elsewhere, and for an empty one.
QUrl fileURL(const QString& playlistName, const QUrl& folder);

} // namespace PlaylistExporter
