#include "DeviceFiles.h"

#include "platform/AtomicFile.h"

#include <QDir>
#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace DeviceFiles {

std::optional<QString> makeFolders(const QString& path)
{
    const QByteArray encoded = QFile::encodeName(QDir::cleanPath(path));
    for (qsizetype end = 1; end <= encoded.size(); ++end) {
        if (end < encoded.size() && encoded.at(end) != '/')
            continue;
        if (::mkdir(encoded.left(end).constData(), 0777) != 0 && errno != EEXIST)
            return AtomicFile::describe(errno);
    }
    struct stat status {};
    if (::stat(encoded.constData(), &status) != 0)
        return AtomicFile::describe(errno);
    if (!S_ISDIR(status.st_mode))
        return AtomicFile::describe(ENOTDIR);
    return std::nullopt;
}

std::optional<QString> remove(const QString& path)
{
    if (::unlink(QFile::encodeName(path).constData()) != 0 && errno != ENOENT)
        return AtomicFile::describe(errno);
    return std::nullopt;
}

std::optional<QString> copy(const QString& source, const QString& target, bool keepDate)
{
    struct stat status {};
    if (::stat(QFile::encodeName(source).constData(), &status) != 0)
        return errno == ENOENT ? u"the file is missing"_s : AtomicFile::describe(errno);
    if (!S_ISREG(status.st_mode))
        return u"it is not a file"_s;
    AtomicFile::removeLeftovers(target); // of a copy killed on an earlier run
    if (std::optional<QString> failure = AtomicFile::copy(source, target, AtomicFile::Existing::replace))
        return failure;
    if (keepDate) {
        const struct timespec times[2] = {status.st_atim, status.st_mtim};
        // The copy is whole by now; without the date it merely reads as newer, so still fresh.
        ::utimensat(AT_FDCWD, QFile::encodeName(target).constData(), times, 0);
    }
    return std::nullopt;
}

} // namespace DeviceFiles
