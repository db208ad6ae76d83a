#include "LibraryOrganizer.h"

#include "FilePaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace LibraryOrganizer {

namespace {

QString sentence(OrganizerError::Kind kind, const QString& path, const QString& detail)
{
    switch (kind) {
    case OrganizerError::Kind::sourceNotFound: return u"The file “%1” could not be found."_s.arg(path);
    case OrganizerError::Kind::destinationExists: return u"A file already exists at “%1”."_s.arg(path);
    case OrganizerError::Kind::nameTooLong:
        return u"The name “%1” is too long for the file system. Shorten the title, album or artist."_s.arg(detail);
    case OrganizerError::Kind::fileSystem: return u"The file could not be moved to “%1”: %2"_s.arg(path, detail);
    }
    Q_UNREACHABLE();
}

// The longest name the file system of `path` takes, asked of the nearest folder that exists.
qsizetype longestName(const QString& path)
{
    QString folder = QFileInfo(path).absolutePath();
    while (!QFileInfo(folder).isDir() && folder != QFileInfo(folder).absolutePath())
        folder = QFileInfo(folder).absolutePath();
    const long limit = ::pathconf(QFile::encodeName(folder).constData(), _PC_NAME_MAX);
    return limit > 0 ? limit : 255;
}

// Long enough to tell which track it is.
QString shortened(const QString& name)
{
    constexpr qsizetype shown = 60;
    return name.size() <= shown ? name : name.left(shown) + u'…';
}

bool isSameFile(const QString& a, const QString& b)
{
    struct stat first {};
    struct stat second {};
    return ::stat(QFile::encodeName(a).constData(), &first) == 0 && ::stat(QFile::encodeName(b).constData(), &second) == 0
        && first.st_dev == second.st_dev && first.st_ino == second.st_ino;
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
    cleaned.removeIf([](QChar c) { return c.category() == QChar::Other_Control; });
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

QString fittedName(const QString& name, bool isFileName)
{
    if (QStringView(name).toUtf8().size() <= longestNameBytes)
        return name;
    const QString extension = isFileName ? FilePaths::pathExtension(name) : QString();
    // An extension that alone would fill the name is no extension worth keeping.
    const QString tail = extension.isEmpty() || extension.toUtf8().size() > longestNameBytes / 2
        ? QString()
        : u'.' + extension;
    QString stem = tail.isEmpty() ? name : name.left(name.size() - tail.size());
    const qsizetype room = longestNameBytes - tail.toUtf8().size();
    qsizetype bytes = 0;
    qsizetype end = 0;
    while (end < stem.size()) {
        const qsizetype width = stem.at(end).isHighSurrogate() && end + 1 < stem.size() ? 2 : 1;
        const qsizetype size = QStringView(stem).mid(end, width).toUtf8().size();
        if (bytes + size > room)
            break;
        bytes += size;
        end += width;
    }
    stem.truncate(end);
    return stem + tail;
}

QUrl canonicalURL(const Track& track, const QUrl& root)
{
    const QString path = track.url.path();
    const auto cleaned = [](const QString& text, const QString& fallback) {
        const QString name = sanitizePathComponent(text);
        return name.isEmpty() ? fallback : name;
    };
    const QString artist = fittedName(cleaned(track.artist, u"Unknown Artist"_s), false);
    const QString album = fittedName(cleaned(track.album, u"Unknown Album"_s), false);
    const QString extension = FilePaths::pathExtension(path);

    QString prefix;
    if (track.trackNumber) {
        if (track.discNumber && *track.discNumber > 1)
            prefix = QString::number(*track.discNumber) + u'-';
        prefix += QString::asprintf("%02lld ", static_cast<long long>(*track.trackNumber));
    }
    QString ownName = FilePaths::baseName(path);
    if (!prefix.isEmpty() && ownName.startsWith(prefix))
        ownName = ownName.mid(prefix.size());
    const QString title = cleaned(track.title, cleaned(ownName, u"Untitled"_s));
    const QString fileName = fittedName(prefix + title + u'.' + extension, true);

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
    checkNameLengths(destination);
    // The file itself under another name (through a link to the root, or on a file system
    // blind to case) is renamed, never removed as something in the way.
    const bool sameFile = isSameFile(source, destination);
    if (QFileInfo::exists(destination) && !sameFile) {
        if (!overwrite)
            throw OrganizerError(OrganizerError::Kind::destinationExists, destination);
        if (!QFile::remove(destination))
            throw OrganizerError(OrganizerError::Kind::fileSystem, destination, u"the file there could not be removed"_s);
    }
    const QString folder = QFileInfo(destination).absolutePath();
    if (!QDir().mkpath(folder))
        throw OrganizerError(OrganizerError::Kind::fileSystem, destination, u"the folder could not be created"_s);
    if (sameFile) {
        if (::rename(QFile::encodeName(source).constData(), QFile::encodeName(destination).constData()) != 0)
            throw OrganizerError(OrganizerError::Kind::fileSystem, destination, qt_error_string(errno));
    } else {
        QFile file(source);
        if (!file.rename(destination))
            throw OrganizerError(OrganizerError::Kind::fileSystem, destination, file.errorString());
    }
    Track moved = track;
    moved.url = destinationURL;
    return moved;
}

void checkNameLengths(const QString& path)
{
    const qsizetype limit = longestName(path);
    for (const QString& name : path.split(u'/', Qt::SkipEmptyParts)) {
        if (QFile::encodeName(name).size() > limit)
            throw OrganizerError(OrganizerError::Kind::nameTooLong, path, shortened(name));
    }
}

} // namespace LibraryOrganizer
