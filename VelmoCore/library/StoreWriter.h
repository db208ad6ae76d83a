#pragma once

#include <QElapsedTimer>
#include <QFuture>
#include <QFutureWatcher>
#include <QObject>
#include <QString>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>

// Saves one store whole and atomically, at most 250 ms after the first unsaved change, and
// at most once per 250 ms: a bulk import of thousands of files stays linear instead of
// rewriting the catalogue per file. The snapshot is taken on the main thread (a cheap,
// implicitly shared copy of the list); encoding and writing run on a worker thread, one
// write at a time.
class StoreWriter : public QObject {
    Q_OBJECT

public:
    using Encoder = std::function<QByteArray()>;
    // Runs on the main thread and returns the encoder for the state as it is now.
    using Snapshot = std::function<Encoder()>;

    static constexpr std::chrono::milliseconds coalescingDelay{250};

    StoreWriter(QString path, Snapshot snapshot, QObject* parent = nullptr);
    ~StoreWriter() override;

    const QString& path() const { return m_path; }

    void markChanged();
    bool hasUnsavedChanges() const { return m_unsaved; }

    // Waits for a write in progress, then writes what is unsaved, on the calling thread.
    void flush();

    // The sentence naming the file and why, when the last write failed. The file then holds
    // what it held before that write, and the list in memory stays right.
    const std::optional<QString>& failure() const { return m_failure; }

signals:
    // After each write, with failure().
    void written(const std::optional<QString>& error);

private:
    void startWrite();
    void finishWrite(const std::optional<QString>& error);
    void report(const std::optional<QString>& error);

    QString m_path;
    Snapshot m_snapshot;
    QTimer m_timer;
    QElapsedTimer m_unsavedSince;
    bool m_unsaved = false;
    QFuture<std::optional<QString>> m_write;
    QFutureWatcher<std::optional<QString>> m_writeWatcher;
    std::optional<QString> m_failure;
};
