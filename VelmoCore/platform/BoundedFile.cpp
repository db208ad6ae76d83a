#include "BoundedFile.h"

#include "AtomicFile.h"

#include <QFile>
#include <QLocale>
#include <QScopeGuard>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace BoundedFile {

namespace {

QString sentence(ReadError::Kind kind, const QString& path, const QString& detail)
{
    switch (kind) {
    case ReadError::Kind::unreadable: return u"Could not read “%1”: %2."_s.arg(path, detail);
    case ReadError::Kind::notRegular:
        return u"“%1” is not a regular file (%2); only a file's contents can be read."_s.arg(path, detail);
    case ReadError::Kind::tooLarge:
        return u"“%1” is larger than %2, more than a file of its kind can hold; it was not read."_s.arg(path, detail);
    }
    Q_UNREACHABLE();
}

QString kindOf(mode_t mode)
{
    if (S_ISDIR(mode))
        return u"a folder"_s;
    if (S_ISFIFO(mode))
        return u"a pipe"_s;
    if (S_ISCHR(mode) || S_ISBLK(mode))
        return u"a device"_s;
    if (S_ISSOCK(mode))
        return u"a socket"_s;
    return u"not a plain file"_s;
}

// For a file being read, a missing one is missing, not a folder on the way.
QString reason(int error)
{
    return error == ENOENT ? u"there is no such file"_s : AtomicFile::describe(error);
}

void checkMode(const QString& path, const struct stat& status)
{
    if (!S_ISREG(status.st_mode))
        throw ReadError(ReadError::Kind::notRegular, path, kindOf(status.st_mode));
}

} // namespace

ReadError::ReadError(Kind kind, const QString& path, const QString& detail)
    : std::runtime_error(sentence(kind, path, detail).toStdString())
    , m_kind(kind)
    , m_path(path)
{
}

QString ReadError::message() const
{
    return QString::fromUtf8(what());
}

void requireRegular(const QString& path)
{
    struct stat status {};
    if (::stat(QFile::encodeName(path).constData(), &status) != 0)
        throw ReadError(ReadError::Kind::unreadable, path, reason(errno));
    checkMode(path, status);
}

QByteArray read(const QString& path, qint64 limit)
{
    requireRegular(path);
    // Non-blocking, so that a FIFO put in the file's place after the check still cannot hold
    // the open; the descriptor's own status then settles what was opened.
    const int fd = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        throw ReadError(ReadError::Kind::unreadable, path, reason(errno));
    const auto closing = qScopeGuard([fd] { ::close(fd); });
    struct stat status {};
    if (::fstat(fd, &status) != 0)
        throw ReadError(ReadError::Kind::unreadable, path, reason(errno));
    checkMode(path, status);

    QByteArray bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw ReadError(ReadError::Kind::unreadable, path, reason(errno));
        if (got == 0)
            return bytes;
        if (bytes.size() + got > limit)
            throw ReadError(ReadError::Kind::tooLarge, path, QLocale::c().formattedDataSize(limit));
        bytes.append(buffer, got);
    }
}

} // namespace BoundedFile
