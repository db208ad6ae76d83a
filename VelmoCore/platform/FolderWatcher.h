#pragma once

#include "FileChangeNotifier.h"

#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>
#include <QTimer>
#include <QUrl>

#include <memory>

// Watches one folder and everything below it, and reports the paths of files that were
// created, written, deleted or moved (both ends of a move), in batches delivered `latency`
// seconds after the first change of each batch, on the thread that owns the watcher. It does not
// say what happened to a path: the receiver looks at the disk. Folders created or moved in
// after the start are watched as they appear, and the files they hold are reported.
//
// Hidden entries (names starting with a dot) are passed over, as a scan of the library does.
// A subfolder deleted or moved away reports the files it held. When the kernel loses events,
// every file known or found below the folder is reported, so that the receiver can reconcile.
// When the watched folder itself is moved away or unmounted, watching ends without a report.
class FolderWatcher : public QObject {
    Q_OBJECT

public:
    // Watches through inotify.
    explicit FolderWatcher(QUrl url, double latency = 1.0, QObject* parent = nullptr);
    FolderWatcher(QUrl url, double latency, FileChangeNotifierFactory makeNotifier, QObject* parent = nullptr);
    ~FolderWatcher() override;

    const QUrl& url() const { return m_url; }
    double latency() const { return m_latency; }
    bool isRunning() const { return m_notifier != nullptr; }

    // Watches from now on. Does nothing when already running, and nothing either, without a
    // word, when the folder does not exist or the system gives no watcher.
    void start();
    // Ends every watch and drops changes not yet delivered; nothing is reported afterwards.
    void stop();

signals:
    // Distinct file paths, in the order their first change was seen.
    void filesChanged(const QList<QUrl>& urls);
    // Said at most once per start, from the event loop, when the system's limit on watches
    // leaves some folders unwatched. The watched ones go on reporting.
    void partialCoverage(const QString& message);

private:
    struct WatchedFolder {
        QString path;
        // Names of the files in it, so that a folder moved away can still report what it held.
        QSet<QString> files;
    };

    void handle(const QList<FileChangeNotifier::Event>& events);
    void handleEntry(const FileChangeNotifier::Event& event, const QString& folderPath);
    void watchTree(const QString& top, bool reportFiles);
    bool addWatch(const QString& folder);
    void forgetTree(const QString& top, bool reportFiles);
    void forgetWatch(int watch, bool reportFiles);
    void forgetAll();
    void rescan();
    void report(const QString& path);
    void deliver();
    void notePartialCoverage();
    void announcePartialCoverage();

    QUrl m_url;
    QString m_root;
    double m_latency;
    FileChangeNotifierFactory m_makeNotifier;
    std::unique_ptr<FileChangeNotifier> m_notifier;
    QHash<int, WatchedFolder> m_folders;
    QMap<QString, int> m_watchByPath; // ordered, so that a folder's subfolders lie together
    QList<QString> m_pending;
    QSet<QString> m_pendingSet;
    QTimer m_batchTimer;
    bool m_partial = false;
    bool m_partialAnnounced = false;
};
