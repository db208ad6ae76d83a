#include "SmallFileSystem.h"

#include <QFile>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>

SmallFileSystem::SmallFileSystem(qint64 bytes)
{
    const QByteArray options = "size=" + QByteArray::number(bytes);
    m_mounted = m_folder.isValid()
             && ::mount("tmpfs", QFile::encodeName(m_folder.path()).constData(), "tmpfs", 0, options.constData()) == 0;
}

SmallFileSystem::~SmallFileSystem()
{
    if (m_mounted)
        ::umount2(QFile::encodeName(m_folder.path()).constData(), MNT_DETACH);
}

void SmallFileSystem::fill()
{
    const int fd = ::open(QFile::encodeName(filePath(QStringLiteral(".filler"))).constData(),
                          O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    if (fd < 0)
        return;
    const QByteArray block(4096, 'x');
    while (::write(fd, block.constData(), size_t(block.size())) > 0) {
    }
    const char byte = 'x';
    while (::write(fd, &byte, 1) > 0) {
    }
    ::close(fd);
}
