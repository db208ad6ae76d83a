#pragma once

#include <QString>

#include <optional>

// Transcoded files kept for the next device that wants the same: a second player with the same
// settings, or the same one after it was wiped, gets copies instead of encoder runs. Each file
// is named by the digest of its key; the least recently used go first when the folder grows
// past its limit. Several processes and threads may use one folder at once: a file that
// another removes meanwhile is merely a miss, and every file is written whole or not at all.
class TranscodeCache {
public:
    struct Stats {
        qint64 files = 0;
        qint64 bytes = 0;

        bool operator==(const Stats&) const = default;
    };

    // The user's cache folder, "Sonorelle/transcodes" below it.
    static QString defaultFolder();

    TranscodeCache(QString folder, qint64 limitBytes);

    const QString& folder() const { return m_folder; }
    qint64 limitBytes() const { return m_limitBytes; }

    // What names one result: the track, the state of its source file and every setting that
    // shapes the bytes, as text. The same inputs always give the same key.
    static QString key(const QString& trackID, qint64 sourceSize, qint64 sourceModifiedNs, const QString& settings);

    // The file kept under `key`, marked used now; none for a miss. Another process may
    // still evict it, so a copy from it that fails is a miss too.
    std::optional<QString> find(const QString& key, const QString& extension) const;
    // Keeps a copy of `file` under `key`, then removes the least recently used files until the
    // folder is within its limit. A failure only means that the next device encodes again.
    void store(const QString& key, const QString& file, const QString& extension) const;

    // Where the file of `key` is kept, whether it is there or not.
    QString pathFor(const QString& key, const QString& extension) const;

    Stats stats() const;
    // Removes every file of the cache; the count removed.
    qint64 clear() const;

private:
    void evict() const;

    QString m_folder;
    qint64 m_limitBytes;
};
