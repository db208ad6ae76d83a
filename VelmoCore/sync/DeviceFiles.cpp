#include "DeviceFiles.h"

#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>
#include <QList>
#include <QStringList>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace DeviceFiles {

namespace {

class Descriptor {
public:
    explicit Descriptor(int fd = -1) : m_fd(fd) {}
    ~Descriptor()
    {
        if (m_fd >= 0)
            ::close(m_fd);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    void reset(int fd)
    {
        if (m_fd >= 0)
            ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd;
};

QString linkReason(const QString& path)
{
    return u"“%1” is a symbolic link, which a sync never follows"_s.arg(path);
}

// The names from the root down to `path`, or none when `path` does not lie below the root.
std::optional<QStringList> namesBelow(const QString& root, const QString& path)
{
    const QString cleanRoot = QDir::cleanPath(root);
    const QString cleanPath = QDir::cleanPath(path);
    if (!cleanRoot.startsWith(u'/'))
        return std::nullopt;
    if (cleanPath == cleanRoot)
        return QStringList();
    const QString prefix = cleanRoot == u"/"_s ? cleanRoot : cleanRoot + u'/';
    if (!cleanPath.startsWith(prefix))
        return std::nullopt;
    return cleanPath.mid(prefix.size()).split(u'/', Qt::SkipEmptyParts);
}

QString outsideReason(const QString& path)
{
    return u"“%1” lies outside the device's folder"_s.arg(path);
}

// Opens the folder that `names` lead to from the root, one name at a time and never through a
// link; with `create`, missing folders are made on the way. `missing` tells a folder that is
// not there (without `create`) from a failure.
std::optional<QString> openFolder(const QString& root, const QStringList& names, bool create, Descriptor& folder,
                                  bool* missing = nullptr)
{
    folder.reset(::open(QFile::encodeName(QDir::cleanPath(root)).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.get() < 0)
        return AtomicFile::describe(errno);
    QString reached = QDir::cleanPath(root);
    for (const QString& name : names) {
        const QByteArray encoded = QFile::encodeName(name);
        reached += u'/' + name;
        if (create && ::mkdirat(folder.get(), encoded.constData(), 0777) != 0 && errno != EEXIST)
            return AtomicFile::describe(errno);
        const int next = ::openat(folder.get(), encoded.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (next < 0) {
            const int error = errno;
            struct stat status {};
            if (::fstatat(folder.get(), encoded.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
                if (S_ISLNK(status.st_mode))
                    return linkReason(reached);
                if (!S_ISDIR(status.st_mode))
                    return AtomicFile::describe(ENOTDIR);
            }
            if (error == ENOENT && missing) {
                *missing = true;
                return std::nullopt;
            }
            return AtomicFile::describe(error);
        }
        folder.reset(next);
    }
    return std::nullopt;
}

} // namespace

bool isAudioFileName(const QString& path)
{
    // As FilePaths::pathExtension, without making strings: this runs for every file on a device.
    const qsizetype slash = path.lastIndexOf(u'/');
    const qsizetype dot = path.lastIndexOf(u'.');
    if (dot <= slash + 1)
        return false;
    const QStringView extension = QStringView(path).mid(dot + 1);
    // The library's own extensions, Opus and AIFF included, and the audiobook form of M4A
    // that podcasts use.
    for (const char16_t* known : {u"flac", u"mp3", u"aac", u"m4a", u"m4b", u"ogg", u"wav", u"opus", u"aiff", u"aif"}) {
        if (extension.compare(QStringView(known), Qt::CaseInsensitive) == 0)
            return true;
    }
    return false;
}

std::optional<QString> makeFolders(const QString& root, const QString& folder)
{
    const std::optional<QStringList> names = namesBelow(root, folder);
    if (!names)
        return outsideReason(folder);
    Descriptor opened;
    return openFolder(root, *names, true, opened);
}

std::optional<QString> checkFolder(const QString& root, const QString& folder)
{
    const std::optional<QStringList> names = namesBelow(root, folder);
    if (!names)
        return outsideReason(folder);
    Descriptor opened;
    bool missing = false;
    return openFolder(root, *names, false, opened, &missing);
}

std::optional<QString> prepareWrite(const QString& root, const QString& path)
{
    std::optional<QStringList> names = namesBelow(root, path);
    if (!names || names->isEmpty())
        return outsideReason(path);
    const QString fileName = names->takeLast();
    Descriptor folder;
    if (std::optional<QString> failure = openFolder(root, *names, true, folder))
        return failure;
    struct stat status {};
    if (::fstatat(folder.get(), QFile::encodeName(fileName).constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? std::nullopt : std::optional(AtomicFile::describe(errno));
    if (S_ISLNK(status.st_mode))
        return linkReason(QDir::cleanPath(path));
    if (!S_ISREG(status.st_mode))
        return u"“%1” is not a file"_s.arg(QDir::cleanPath(path));
    return std::nullopt;
}

std::optional<QString> remove(const QString& root, const QString& path)
{
    std::optional<QStringList> names = namesBelow(root, path);
    if (!names || names->isEmpty())
        return outsideReason(path);
    const QByteArray fileName = QFile::encodeName(names->takeLast());
    Descriptor folder;
    bool missing = false;
    if (std::optional<QString> failure = openFolder(root, *names, false, folder, &missing))
        return failure;
    if (missing)
        return std::nullopt;
    struct stat status {};
    if (::fstatat(folder.get(), fileName.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT ? std::nullopt : std::optional(AtomicFile::describe(errno));
    if (S_ISLNK(status.st_mode))
        return linkReason(QDir::cleanPath(path));
    if (!S_ISREG(status.st_mode))
        return u"“%1” is not a file"_s.arg(QDir::cleanPath(path));
    if (::unlinkat(folder.get(), fileName.constData(), 0) != 0 && errno != ENOENT)
        return AtomicFile::describe(errno);
    return std::nullopt;
}

std::optional<QString> copy(const QString& source, const QString& root, const QString& target, bool keepDate)
{
    struct stat status {};
    if (::stat(QFile::encodeName(source).constData(), &status) != 0)
        return errno == ENOENT ? u"the file is missing"_s : AtomicFile::describe(errno);
    if (!S_ISREG(status.st_mode))
        return u"it is not a file"_s;
    if (std::optional<QString> failure = prepareWrite(root, target))
        return failure;
    AtomicFile::removeLeftovers(target); // of a copy killed on an earlier run
    if (std::optional<QString> failure = AtomicFile::copy(source, target, AtomicFile::Existing::replace))
        return failure;
    if (keepDate) {
        const struct timespec times[2] = {status.st_atim, status.st_mtim};
        // The copy is whole by now; without the date it merely reads as newer, so still fresh.
        ::utimensat(AT_FDCWD, QFile::encodeName(target).constData(), times, AT_SYMLINK_NOFOLLOW);
    }
    return std::nullopt;
}

} // namespace DeviceFiles
