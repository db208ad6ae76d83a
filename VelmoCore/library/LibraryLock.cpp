#include "LibraryLock.h"

#include "StoreLocations.h"

#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

LibraryLock::LibraryLock()
    : m_lock(StoreLocations::lockFilePath())
{
    // Held for as long as the process runs: only a dead holder makes a lock stale, never age.
    m_lock.setStaleLockTime(0);
}

std::optional<QString> LibraryLock::acquire()
{
    QDir().mkpath(QFileInfo(StoreLocations::lockFilePath()).absolutePath());
    if (m_lock.tryLock(0))
        return std::nullopt;
    if (m_lock.error() != QLockFile::LockFailedError) {
        // Without a place for the lock there is no place for the stores either: the
        // writes will fail and say so, so nothing is gained by refusing to start.
        return std::nullopt;
    }
    qint64 pid = 0;
    QString hostname;
    QString application;
    m_lock.getLockInfo(&pid, &hostname, &application);
    const QString holder = application.isEmpty() ? u"another program"_s : application;
    return u"The library is in use by %1 (process %2). Quit it first, then try again."_s.arg(holder).arg(pid);
}
