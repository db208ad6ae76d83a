#include "FileSystemSpace.h"

#include <QFile>

#include <sys/statvfs.h>

std::optional<FileSystemSpace> FileSystemSpace::of(const QString& path)
{
    struct statvfs info {};
    if (::statvfs(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    const auto blockSize = qint64(info.f_frsize);
    return FileSystemSpace{qint64(info.f_bavail) * blockSize, qint64(info.f_blocks) * blockSize};
}
