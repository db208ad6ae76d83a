#include "TranscodeCache.h"

#include "platform/AtomicFile.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

// The files the cache made: hidden ones are writes still under way, or killed.
QFileInfoList entries(const QString& folder)
{
    return QDir(folder).entryInfoList(QDir::Files | QDir::NoSymLinks, QDir::NoSort);
}

} // namespace

QString TranscodeCache::defaultFolder()
{
    return QStandardPaths::writableLocation(QStandardPaths::GenericCacheLocation) + u"/Sonorelle/transcodes"_s;
}

TranscodeCache::TranscodeCache(QString folder, qint64 limitBytes)
    : m_folder(std::move(folder))
    , m_limitBytes(limitBytes)
{
}

QString TranscodeCache::key(const QString& trackID, qint64 sourceSize, qint64 sourceModifiedNs, const QString& settings)
{
    return u"%1|%2|%3|%4"_s.arg(trackID).arg(sourceSize).arg(sourceModifiedNs).arg(settings);
}

QString TranscodeCache::pathFor(const QString& key, const QString& extension) const
{
    const QByteArray digest = QCryptographicHash::hash(key.toUtf8(), QCryptographicHash::Sha1).toHex();
    return m_folder + u'/' + QString::fromLatin1(digest) + u'.' + extension;
}

std::optional<QString> TranscodeCache::find(const QString& key, const QString& extension) const
{
    const QString path = pathFor(key, extension);
    // Its date is when it was last used: eviction goes by it.
    if (::utimensat(AT_FDCWD, QFile::encodeName(path).constData(), nullptr, 0) != 0)
        return std::nullopt;
    return path;
}

void TranscodeCache::store(const QString& key, const QString& file, const QString& extension) const
{
    if (m_limitBytes <= 0 || QFileInfo(file).size() > m_limitBytes || !QDir().mkpath(m_folder))
        return;
    if (AtomicFile::copy(file, pathFor(key, extension), AtomicFile::Existing::replace))
        return;
    evict();
}

void TranscodeCache::evict() const
{
    QFileInfoList files = entries(m_folder);
    qint64 total = 0;
    for (const QFileInfo& info : std::as_const(files))
        total += info.size();
    if (total <= m_limitBytes)
        return;
    std::sort(files.begin(), files.end(), [](const QFileInfo& a, const QFileInfo& b) {
        return a.lastModified() < b.lastModified();
    });
    for (const QFileInfo& info : std::as_const(files)) {
        if (total <= m_limitBytes)
            break;
        if (QFile::remove(info.filePath()) || !QFileInfo::exists(info.filePath()))
            total -= info.size();
    }
}

TranscodeCache::Stats TranscodeCache::stats() const
{
    Stats stats;
    for (const QFileInfo& info : entries(m_folder)) {
        ++stats.files;
        stats.bytes += info.size();
    }
    return stats;
}

qint64 TranscodeCache::clear() const
{
    qint64 removed = 0;
    const QDir folder(m_folder);
    for (const QString& name : folder.entryList(QDir::Files | QDir::Hidden | QDir::System | QDir::NoSymLinks)) {
        if (QFile::remove(folder.filePath(name)) && !name.startsWith(u'.'))
            ++removed;
    }
    return removed;
}
