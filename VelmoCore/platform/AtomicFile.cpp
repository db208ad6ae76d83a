#include "AtomicFile.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray encoded(const QString& path)
{
    return QFile::encodeName(path);
}

// Follows a link to the file it names, so that replacing the file keeps the link.
QString resolvedTarget(const QString& path)
{
    const QFileInfo info(path);
    if (!info.isSymLink())
        return info.absoluteFilePath();
    const QString canonical = info.canonicalFilePath();
    return canonical.isEmpty() ? info.symLinkTarget() : canonical;
}

// Short enough for any file system even when the target's name uses all 255 bytes.
QString temporaryName(const QString& fileName)
{
    const QString stem = encoded(fileName).size() <= 64 ? fileName : u"velmo"_s;
    return u"."_s + stem + u"."_s + QString::number(QRandomGenerator::global()->generate(), 16) + u".tmp"_s;
}

// Whether `name` is a temporary name that `temporaryName(fileName)` could have given.
bool isTemporaryNameOf(const QString& name, const QString& fileName)
{
    const QString prefix = u"."_s + fileName + u"."_s;
    if (!name.startsWith(prefix) || !name.endsWith(u".tmp"_s))
        return false;
    const QStringView random = QStringView(name).mid(prefix.size(), name.size() - prefix.size() - 4);
    return !random.isEmpty() && std::all_of(random.begin(), random.end(), [](QChar c) { return isxdigit(c.unicode()); });
}

void syncFolder(const QString& folder)
{
    const int fd = ::open(encoded(folder).constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return;
    // Some file systems cannot sync a folder; the rename itself has happened all the same.
    ::fsync(fd);
    ::close(fd);
}

bool renameKeepingExisting(const QByteArray& from, const QByteArray& to)
{
    if (::renameat2(AT_FDCWD, from.constData(), AT_FDCWD, to.constData(), RENAME_NOREPLACE) == 0)
        return true;
    if (errno != EINVAL && errno != ENOSYS)
        return false;
    // A file system without RENAME_NOREPLACE: a hard link fails just as well on a taken name.
    if (::link(from.constData(), to.constData()) != 0)
        return false;
    ::unlink(from.constData());
    return true;
}

} // namespace

AtomicFile::AtomicFile(QString path, Existing existing)
    : m_path(resolvedTarget(path))
    , m_existing(existing)
{
}

AtomicFile::~AtomicFile()
{
    discard();
}

void AtomicFile::removeLeftovers(const QString& path)
{
    const QFileInfo info(resolvedTarget(path));
    // Long names share one stand-in, so their leftovers cannot be told apart from another's.
    if (encoded(info.fileName()).size() > 64)
        return;
    const QDir folder = info.dir();
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System)) {
        if (isTemporaryNameOf(name, info.fileName()))
            QFile::remove(folder.filePath(name));
    }
}

QString AtomicFile::describe(int error)
{
    switch (error) {
    case ENOSPC: return u"there is no space left on the device"_s;
    case EDQUOT: return u"the disk quota is used up"_s;
    case EFBIG: return u"the file would be larger than the file system allows"_s;
    case EROFS: return u"the file system is read-only"_s;
    case EACCES:
    case EPERM: return u"permission was denied"_s;
    case EIO: return u"the device reported an input/output error"_s;
    case ENAMETOOLONG: return u"a name is too long for the file system"_s;
    case ELOOP: return u"the path runs into a loop of symbolic links"_s;
    case ENOENT: return u"a folder on the way does not exist"_s;
    case ENOTDIR: return u"part of the path is not a folder"_s;
    case EEXIST: return u"a file of that name exists already"_s;
    default: {
        QString text = QString::fromLocal8Bit(std::strerror(error));
        if (!text.isEmpty())
            text[0] = text[0].toLower();
        return text;
    }
    }
}

std::optional<QString> AtomicFile::fail(const QString& what, int error)
{
    if (!m_failure)
        m_failure = what + describe(error);
    return m_failure;
}

std::optional<QString> AtomicFile::open(bool makeFolder)
{
    discard();
    m_failure.reset();
    const QByteArray target = encoded(m_path);
    struct stat status {};
    if (::stat(target.constData(), &status) == 0 && !S_ISREG(status.st_mode)) {
        m_failure = S_ISDIR(status.st_mode)
                        ? u"a folder of that name is in the way"_s
                        : u"it is not a regular file but a device, a pipe or a socket, and was left alone"_s;
        return m_failure;
    }
    const bool existed = ::stat(target.constData(), &status) == 0;

    const QFileInfo info(m_path);
    const QString folder = info.absolutePath();
    struct stat folderStatus {};
    if (::stat(encoded(folder).constData(), &folderStatus) == 0) {
        if (!S_ISDIR(folderStatus.st_mode)) {
            m_failure = u"“%1” is not a folder"_s.arg(folder);
            return m_failure;
        }
    } else if (!makeFolder) {
        m_failure = u"the folder does not exist"_s;
        return m_failure;
    } else {
        std::error_code error;
        std::filesystem::create_directories(std::filesystem::path(encoded(folder).toStdString()), error);
        if (error)
            return fail(u"the folder could not be created: "_s, error.value());
    }

    for (int attempt = 0; attempt < 16 && m_fd < 0; ++attempt) {
        m_temporaryPath = folder + u'/' + temporaryName(info.fileName());
        m_fd = ::open(encoded(m_temporaryPath).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (m_fd < 0 && errno != EEXIST)
            break;
    }
    if (m_fd < 0) {
        const int error = errno;
        m_temporaryPath.clear();
        return fail({}, error);
    }
    // A replacement keeps the permissions the user gave the file.
    if (existed)
        ::fchmod(m_fd, status.st_mode & 07777);
    return std::nullopt;
}

bool AtomicFile::write(const char* data, qint64 size)
{
    if (m_failure)
        return false;
    if (m_fd < 0) {
        m_failure = u"it was not opened"_s;
        return false;
    }
    while (size > 0) {
        const ssize_t written = ::write(m_fd, data, size_t(size));
        if (written < 0) {
            if (errno == EINTR)
                continue;
            fail({}, errno);
            return false;
        }
        data += written;
        size -= written;
    }
    return true;
}

std::optional<QString> AtomicFile::commit()
{
    if (m_fd < 0 && !m_failure)
        m_failure = u"it was not opened"_s;
    if (!m_failure && ::fsync(m_fd) != 0)
        fail({}, errno);
    if (m_fd >= 0) {
        // close reports what a network file system kept back until now.
        if (::close(m_fd) != 0 && !m_failure)
            fail({}, errno);
        m_fd = -1;
    }
    if (!m_failure) {
        const QByteArray from = encoded(m_temporaryPath);
        const QByteArray to = encoded(m_path);
        const bool renamed = m_existing == Existing::keep ? renameKeepingExisting(from, to)
                                                          : ::rename(from.constData(), to.constData()) == 0;
        if (renamed) {
            m_temporaryPath.clear();
            syncFolder(QFileInfo(m_path).absolutePath());
        } else {
            fail({}, errno);
        }
    }
    const std::optional<QString> failure = m_failure;
    discard();
    return failure;
}

void AtomicFile::discard()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
    if (!m_temporaryPath.isEmpty()) {
        ::unlink(encoded(m_temporaryPath).constData());
        m_temporaryPath.clear();
    }
}

std::optional<QString> AtomicFile::save(const QString& path, const QByteArray& bytes)
{
    AtomicFile file(path);
    if (auto failure = file.open())
        return failure;
    file.write(bytes);
    return file.commit();
}

std::optional<QString> AtomicFile::copy(const QString& source, const QString& path, Existing existing)
{
    QFile input(source);
    if (!input.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        return u"“%1” could not be read: %2"_s.arg(source, input.errorString());
    AtomicFile file(path, existing);
    if (auto failure = file.open(false))
        return failure;
    QByteArray buffer(1 << 20, Qt::Uninitialized);
    for (;;) {
        const qint64 read = input.read(buffer.data(), buffer.size());
        if (read < 0)
            return u"“%1” could not be read: %2"_s.arg(source, input.errorString());
        if (read == 0 || !file.write(buffer.constData(), read))
            break;
    }
    return file.commit();
}
