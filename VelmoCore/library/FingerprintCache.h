#pragma once

#include "FingerprintReader.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QUuid>

#include <optional>

// Fingerprints kept between searches, by track id, beside the library's store. An entry holds
// for as long as the file keeps its size and modification time; when those change, a digest of
// the compressed audio tells a re-tagged file, whose fingerprint still holds, from a re-encoded
// one. A cache that is missing or does not read is empty: it is only ever rebuilt.
class FingerprintCache {
public:
    struct Entry {
        qint64 size = 0;
        qint64 modified = 0; // milliseconds since the epoch
        QByteArray audioDigest;
        Fingerprint fingerprint;

        bool operator==(const Entry&) const = default;
    };

    // "fingerprints.cache" in the folder of library.json.
    static QString defaultPath();

    static FingerprintCache load(const QString& path);
    // Written whole and atomically; the reason in words when it could not be.
    std::optional<QString> save(const QString& path) const;

    std::optional<Entry> entry(const QUuid& trackID) const;
    void insert(const QUuid& trackID, const Entry& entry) { m_entries.insert(trackID, entry); }
    qsizetype size() const { return m_entries.size(); }

    QByteArray encoded() const;
    // Nothing when the bytes are not a whole cache of this version.
    static std::optional<FingerprintCache> decoded(const QByteArray& bytes);

private:
    QHash<QUuid, Entry> m_entries;
};
