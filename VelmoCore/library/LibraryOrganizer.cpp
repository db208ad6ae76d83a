#include "LibraryOrganizer.h"

#include "FilePaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace LibraryOrganizer {

namespace {

QString sentence(OrganizerError::Kind kind, const QString& path, const QString& detail)
{
    switch (kind) {
    case OrganizerError::Kind::sourceNotFound: return u"The file “%1” could not be found."_s.arg(path);
    case OrganizerError::Kind::destinationExists: return u"A file already exists at “%1”."_s.arg(path);
    case OrganizerError::Kind::fileSystem: return u"The file could not be moved to “%1”: %2"_s.arg(path, detail);
    }
    Q_UNREACHABLE();
}

} // namespace

OrganizerError::OrganizerError(Kind kind, const QString& path, const QString& detail)
    : std::runtime_error(sentence(kind, path, detail).toStdString())
    , m_kind(kind)
    , m_path(path)
{
}

QString OrganizerError::message() const
{
    return QString::fromUtf8(what());
}

QString sanitizePathComponent(const QString& text)
{
    QString cleaned = text;
    for (QChar& c : cleaned) {
        switch (c.unicode()) {
        case '/': case '\\': case ':': case '*': case '?': case '"': case '<': case '>': case '|':
            c = u'-';
            break;
        default:
            break;
        }
    }
    const auto isTrimmed = [](QChar c) { return c == u'.' || c.isSpace(); };
    qsizetype begin = 0;
    qsizetype end = cleaned.size();
    while (begin < end && isTrimmed(cleaned.at(begin)))
        ++begin;
    while (end > begin && isTrimmed(cleaned.at(end - 1)))
        --end;
    return cleaned.mid(begin, end - begin);
}

QUrl canonicalURL(const Track& track, const QUrl& root)
{
    const QString path = track.url.path();
    const QString artist = sanitizePathComponent(track.artist.isEmpty() ? u"Unknown Artist"_s : track.artist);
    const QString album = sanitizePathComponent(track.album.isEmpty() ? u"Unknown Album"_s : track.album);
    const QString extension = FilePaths::pathExtension(path);
    const QString title = sanitizePathComponent(track.title.isEmpty() ? FilePaths::baseName(path) : track.title);

    QString fileName;
    if (track.trackNumber) {
        if (track.discNumber && *track.discNumber > 1)
            fileName = QString::number(*track.discNumber) + u'-';
        fileName += QString::asprintf("%02lld ", static_cast<long long>(*track.trackNumber));
    }
    fileName += title + u'.' + extension;

    QString rootPath = root.toLocalFile();
    while (rootPath.size() > 1 && rootPath.endsWith(u'/'))
        rootPath.chop(1);
    return QUrl::fromLocalFile(rootPath + u'/' + artist + u'/' + album + u'/' + fileName);
}

Track move(const Track& track, const QUrl& root, bool overwrite)
{
    const QUrl destinationURL = canonicalURL(track, root);
    if (destinationURL == track.url)
        return track;
    const QString source = track.path();
    const QString destination = destinationURL.toLocalFile();
    if (!QFileInfo::exists(source))
        throw OrganizerError(OrganizerError::Kind::sourceNotFound, source);
    if (QFileInfo::exists(destination)) {
        if (!overwrite)
            throw OrganizerError(OrganizerError::Kind::destinationExists, destination);
        if (!QFile::remove(destination))
            throw OrganizerError(OrganizerError::Kind::fileSystem, destination, u"the file there could not be removed"_s);
    }
    const QString folder = QFileInfo(destination).absolutePath();
    if (!QDir().mkpath(folder))
        throw OrganizerError(OrganizerError::Kind::fileSystem, destination, u"the folder could not be created"_s);
    QFile file(source);
    if (!file.rename(destination))
        throw OrganizerError(OrganizerError::Kind::fileSystem, destination, file.errorString());
    Track moved = track;
    moved.url = destinationURL;
    return moved;
}

} // namespace LibraryOrganizer
