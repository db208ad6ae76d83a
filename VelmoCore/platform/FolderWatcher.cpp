#include "FolderWatcher.h"

#include "InotifyNotifier.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QThread>

#include <algorithm>
#include <chrono>

using namespace Qt::StringLiterals;

namespace {

using Event = FileChangeNotifier::Event;

QString childPath(const QString& folder, const QString& name)
{
    if (folder.endsWith(u'/'))
        return folder + name;
    return folder + u'/' + name;
}

bool isHidden(const QString& name)
{
    return name.startsWith(u'.');
}

} // namespace

FolderWatcher::FolderWatcher(QUrl url, double latency, QObject* parent)
    : FolderWatcher(
          std::move(url), latency,
          [](FileChangeNotifier::EventHandler handler) -> std::unique_ptr<FileChangeNotifier> {
              return InotifyNotifier::open(std::move(handler));
          },
          parent)
{}

FolderWatcher::FolderWatcher(QUrl url, double latency, FileChangeNotifierFactory makeNotifier, QObject* parent)
    : QObject(parent)
    , m_url(std::move(url))
    , m_latency(latency)
    , m_makeNotifier(std::move(makeNotifier))
{
    m_batchTimer.setSingleShot(true);
    m_batchTimer.setInterval(std::chrono::milliseconds(qRound64(std::max(0.0, latency) * 1000)));
    connect(&m_batchTimer, &QTimer::timeout, this, &FolderWatcher::deliver);
}

FolderWatcher::~FolderWatcher()
{
    stop();
}

void FolderWatcher::start()
{
    Q_ASSERT(QThread::currentThread() == thread());
    if (m_notifier)
        return;
    m_root = m_url.isLocalFile() ? QDir::cleanPath(m_url.toLocalFile()) : QString();
    if (m_root.isEmpty() || !QFileInfo(m_root).isDir())
        return;
    m_notifier = m_makeNotifier([this](const QList<Event>& events) { handle(events); });
    if (!m_notifier)
        return;
    watchTree(m_root, false);
    if (!m_watchByPath.contains(m_root))
        stop();
}

void FolderWatcher::stop()
{
    Q_ASSERT(QThread::currentThread() == thread());
    m_notifier.reset();
    m_folders.clear();
    m_watchByPath.clear();
    m_batchTimer.stop();
    m_pending.clear();
    m_pendingSet.clear();
    m_partial = false;
    m_partialAnnounced = false;
}

void FolderWatcher::handle(const QList<Event>& events)
{
    for (const Event& event : events) {
        if (event.kind == Event::Kind::Overflow) {
            rescan();
            continue;
        }
        const auto folder = m_folders.constFind(event.watch);
        if (folder == m_folders.cend())
            continue; // queued before its watch was forgotten
        const QString folderPath = folder->path;
        if (event.kind == Event::Kind::FolderGone || event.kind == Event::Kind::WatchEnded) {
            // When the root itself goes, its files are not reported: that would empty the library
            // over a renamed folder or an unplugged disk. A deletion has reported each file on its
            // way already.
            if (folderPath == m_root)
                forgetAll();
            else if (event.kind == Event::Kind::FolderGone)
                forgetTree(folderPath, true);
            else
                forgetWatch(event.watch, false);
        } else {
            handleEntry(event, folderPath);
        }
    }
}

void FolderWatcher::handleEntry(const Event& event, const QString& folderPath)
{
    if (event.name.isEmpty() || isHidden(event.name))
        return;
    const QString path = childPath(folderPath, event.name);
    if (event.isFolder) {
        // Watches follow a folder wherever it goes, so a moved folder is forgotten at its old
        // path and watched afresh at its new one. A folder arriving at a watched path replaced
        // the one there.
        forgetTree(path, true);
        if (event.kind == Event::Kind::Added)
            watchTree(path, true);
        return;
    }
    QSet<QString>& files = m_folders[event.watch].files;
    if (event.kind == Event::Kind::Removed)
        files.remove(event.name);
    else
        files.insert(event.name);
    report(path);
}

void FolderWatcher::watchTree(const QString& top, bool reportFiles)
{
    QList<QString> folders{top};
    for (qsizetype i = 0; i < folders.size(); ++i) {
        const QString folder = folders.at(i);
        WatchedFolder* watched = nullptr;
        const auto symlinks =
            folder == m_root ? FileChangeNotifier::Symlinks::Follow : FileChangeNotifier::Symlinks::DoNotFollow;
        const FileChangeNotifier::WatchResult result = m_notifier->addWatch(folder, symlinks);
        if (const int* watch = std::get_if<int>(&result)) {
            const auto known = m_folders.constFind(*watch);
            if (known != m_folders.cend() && known->path != folder)
                continue; // the same folder again, through a bind mount: walking it would never end
            watched = &m_folders[*watch];
            watched->path = folder;
            m_watchByPath.insert(folder, *watch);
        } else if (std::get<FileChangeNotifier::WatchFailure>(result) ==
                   FileChangeNotifier::WatchFailure::LimitReached) {
            notePartialCoverage();
        }
        // The watch is added before the listing, so that nothing created in between is missed.
        if (!watched && !reportFiles)
            continue;
        QDirIterator entries(folder, QDir::Files | QDir::Dirs | QDir::NoDotAndDotDot);
        while (entries.hasNext()) {
            const QFileInfo entry = entries.nextFileInfo();
            if (entry.isDir()) {
                if (!entry.isSymLink())
                    folders.append(entry.filePath());
                continue;
            }
            if (watched)
                watched->files.insert(entry.fileName());
            if (reportFiles)
                report(entry.filePath());
        }
    }
}

void FolderWatcher::forgetTree(const QString& top, bool reportFiles)
{
    QList<int> watches;
    if (const auto folder = m_watchByPath.constFind(top); folder != m_watchByPath.cend())
        watches.append(*folder);
    const QString prefix = top + u'/';
    for (auto folder = m_watchByPath.lowerBound(prefix);
         folder != m_watchByPath.end() && folder.key().startsWith(prefix); ++folder)
        watches.append(*folder);
    for (const int watch : std::as_const(watches)) {
        m_notifier->removeWatch(watch);
        forgetWatch(watch, reportFiles);
    }
}

void FolderWatcher::forgetWatch(int watch, bool reportFiles)
{
    const auto folder = m_folders.constFind(watch);
    if (folder == m_folders.cend())
        return;
    if (reportFiles) {
        for (const QString& name : folder->files)
            report(childPath(folder->path, name));
    }
    m_watchByPath.remove(folder->path);
    m_folders.erase(folder);
}

void FolderWatcher::forgetAll()
{
    for (auto folder = m_folders.cbegin(); folder != m_folders.cend(); ++folder)
        m_notifier->removeWatch(folder.key());
    m_folders.clear();
    m_watchByPath.clear();
}

void FolderWatcher::rescan()
{
    // What changed is unknown: everything known before and everything found now goes out, and
    // the receiver sorts present from gone.
    const bool rootExists = QFileInfo(m_root).isDir();
    if (rootExists) {
        for (const WatchedFolder& folder : std::as_const(m_folders)) {
            for (const QString& name : folder.files)
                report(childPath(folder.path, name));
        }
    }
    // Watches lost with the events (a folder created, a folder gone) are set right by starting over.
    forgetAll();
    if (rootExists)
        watchTree(m_root, true);
}

void FolderWatcher::report(const QString& path)
{
    if (m_pendingSet.contains(path))
        return;
    m_pendingSet.insert(path);
    m_pending.append(path);
    // Later changes join the batch without delaying it.
    if (!m_batchTimer.isActive())
        m_batchTimer.start();
}

void FolderWatcher::deliver()
{
    QList<QUrl> urls;
    urls.reserve(m_pending.size());
    for (const QString& path : std::as_const(m_pending))
        urls.append(QUrl::fromLocalFile(path));
    m_pending.clear();
    m_pendingSet.clear();
    emit filesChanged(urls);
}

void FolderWatcher::notePartialCoverage()
{
    if (m_partial)
        return;
    m_partial = true;
    // Queued: this may happen inside start() or while events are handled, and a receiver that
    // reacts by stopping the watcher must not pull the notifier from under its own callback.
    QMetaObject::invokeMethod(this, &FolderWatcher::announcePartialCoverage, Qt::QueuedConnection);
}

void FolderWatcher::announcePartialCoverage()
{
    if (!m_partial || m_partialAnnounced)
        return;
    m_partialAnnounced = true;
    emit partialCoverage(
        u"Live updates cover only part of the library: the system's limit on watched folders was reached."_s);
}
