#include "PlaylistExporter.h"

#include "TrackLookup.h"
#include "platform/AtomicFile.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace PlaylistExporter {

namespace {

QList<QStringView> components(QStringView path)
{
    return path.split(u'/', Qt::SkipEmptyParts);
}

// The base is split once per file rather than once per line.
QString relativePathFrom(const QList<QStringView>& base, QStringView target)
{
    const QList<QStringView> to = components(target);
    qsizetype common = 0;
    while (common < base.size() && common < to.size() && base.at(common) == to.at(common))
        ++common;

    QString result;
    const auto append = [&result](QStringView component) {
        if (!result.isEmpty())
            result += u'/';
        result += component;
    };
    for (qsizetype i = common; i < base.size(); ++i)
        append(u"..");
    for (qsizetype i = common; i < to.size(); ++i)
        append(to.at(i));
    return result.isEmpty() ? u"."_s : result;
}

// Every character that some reader of M3U takes for the end of a line.
bool isLineBreak(QChar c)
{
    switch (c.unicode()) {
    case u'\n': case u'\v': case u'\f': case u'\r': case 0x85: case 0x2028: case 0x2029: return true;
    default: return false;
    }
}

// A label is only shown, so any control character goes, the line breaks with them.
QString onOneLine(QString text)
{
    for (QChar& c : text) {
        if (isLineBreak(c) || c.category() == QChar::Other_Control)
            c = u' ';
    }
    return text;
}

bool isMadeOfDots(const QString& name)
{
    return std::all_of(name.cbegin(), name.cend(), [](QChar c) { return c == u'.'; });
}

} // namespace

ExportError::ExportError(Kind kind, const QString& subject, const QString& detail)
    : std::runtime_error(subject.toStdString())
    , m_kind(kind)
    , m_subject(subject)
    , m_detail(detail)
{
}

QString ExportError::message() const
{
    switch (m_kind) {
    case Kind::unsafeName:
        if (m_subject.isEmpty())
            return u"The playlist has no name to make a file name of. Give the full path of the file instead."_s;
        return u"The playlist name “%1” cannot be used as a file name, because it holds a “/” or is made only of "
               "dots. Rename the playlist, or give the full path of the file."_s.arg(m_subject);
    case Kind::notALocalFile:
        return u"“%1” is not a file on this computer; playlists can only be written to local files."_s.arg(m_subject);
    case Kind::writeFailed:
        return u"The playlist could not be written to “%1”: %2."_s.arg(m_subject, m_detail);
    }
    Q_UNREACHABLE();
}

qint64 extinfSeconds(double duration)
{
    // A record from a broken tag can hold any double. -1 is M3U's own "length unknown", and
    // the playlist is still written rather than the program stopped.
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!std::isfinite(duration) || duration >= limit || duration < -limit)
        return -1;
    return qint64(duration);
}

QString relativePath(const QString& base, const QString& target)
{
    return relativePathFrom(components(base), target);
}

QString m3u8(const Playlist& playlist, const QList<Track>& tracks, const std::optional<QUrl>& relativeTo,
             const UrlResolver& urlResolver)
{
    const TrackLookup lookup(tracks);
    const QString basePath = relativeTo ? relativeTo->path() : QString();
    const QList<QStringView> base = components(basePath);

    QString text = u"#EXTM3U\n"_s;
    text.reserve(playlist.trackIDs.size() * 160);
    for (const QUuid& id : playlist.trackIDs) {
        const Track* track = lookup.find(id);
        if (!track)
            continue;
        const QUrl target = (urlResolver ? urlResolver(*track) : std::nullopt).value_or(track->url);
        // QUrl::path() is decoded already: a file named "100%25.flac" must stay as it is.
        const QString path = target.path();
        if (std::any_of(path.cbegin(), path.cend(), isLineBreak))
            continue;

        text += u"#EXTINF:"_s;
        text += QString::number(extinfSeconds(track->duration));
        text += u',';
        if (!track->artist.isEmpty()) {
            text += onOneLine(track->artist);
            text += u" - "_s;
        }
        text += onOneLine(track->title);
        text += u'\n';
        text += relativeTo ? relativePathFrom(base, path) : path;
        text += u'\n';
    }
    return text;
}

void write(const Playlist& playlist, const QList<Track>& tracks, const QUrl& to, bool relativePaths,
           const UrlResolver& urlResolver)
{
    if (!to.isLocalFile())
        throw ExportError(ExportError::Kind::notALocalFile, to.toDisplayString());
    const QString path = to.toLocalFile();
    const QFileInfo info(path);
    std::optional<QUrl> base;
    if (relativePaths)
        base = QUrl::fromLocalFile(info.absolutePath());
    const QByteArray bytes = m3u8(playlist, tracks, base, urlResolver).toUtf8();

    AtomicFile file(path);
    std::optional<QString> failure = file.open(false);
    if (!failure) {
        file.write(bytes);
        failure = file.commit();
    }
    if (failure)
        throw ExportError(ExportError::Kind::writeFailed, path, *failure);
}

QUrl fileURL(const QString& playlistName, const QUrl& folder)
{
    if (playlistName.isEmpty() || playlistName.contains(u'/') || playlistName.contains(QChar::Null)
        || isMadeOfDots(playlistName))
        throw ExportError(ExportError::Kind::unsafeName, playlistName);
    return QUrl::fromLocalFile(QDir(folder.toLocalFile()).filePath(playlistName + fileExtension));
}

} // namespace PlaylistExporter
