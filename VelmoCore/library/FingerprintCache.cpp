#include "FingerprintCache.h"

#include "StoreLocations.h"
#include "platform/AtomicFile.h"

#include <QDataStream>
#include <QFile>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

constexpr quint32 magic = 0x56465043; // "VFPC"
constexpr quint32 version = 1;
// A 120-second fingerprint has about 950 words; anything far beyond is damage, not data.
constexpr quint32 maxWords = 1 << 20;

} // namespace

QString FingerprintCache::defaultPath()
{
    return QFileInfo(StoreLocations::path(StoreKind::library)).absolutePath() + u"/fingerprints.cache"_s;
}

FingerprintCache FingerprintCache::load(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return decoded(file.readAll()).value_or(FingerprintCache());
}

std::optional<QString> FingerprintCache::save(const QString& path) const
{
    return AtomicFile::save(path, encoded());
}

std::optional<FingerprintCache::Entry> FingerprintCache::entry(const QUuid& trackID) const
{
    const auto found = m_entries.constFind(trackID);
    if (found == m_entries.cend())
        return std::nullopt;
    return *found;
}

QByteArray FingerprintCache::encoded() const
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_6_0);
    out << magic << version << quint32(m_entries.size());
    for (auto it = m_entries.cbegin(); it != m_entries.cend(); ++it) {
        const Entry& entry = it.value();
        out << it.key() << entry.size << entry.modified << entry.audioDigest << quint32(entry.fingerprint.size());
        for (quint32 word : entry.fingerprint)
            out << word;
    }
    return bytes;
}

std::optional<FingerprintCache> FingerprintCache::decoded(const QByteArray& bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_6_0);
    quint32 readMagic = 0;
    quint32 readVersion = 0;
    quint32 count = 0;
    in >> readMagic >> readVersion >> count;
    if (in.status() != QDataStream::Ok || readMagic != magic || readVersion != version)
        return std::nullopt;
    FingerprintCache cache;
    for (quint32 i = 0; i < count; ++i) {
        QUuid id;
        Entry entry;
        quint32 words = 0;
        in >> id >> entry.size >> entry.modified >> entry.audioDigest >> words;
        if (in.status() != QDataStream::Ok || words > maxWords || qint64(words) * 4 > bytes.size())
            return std::nullopt;
        entry.fingerprint.resize(words);
        for (quint32& word : entry.fingerprint)
            in >> word;
        if (in.status() != QDataStream::Ok)
            return std::nullopt;
        cache.m_entries.insert(id, entry);
    }
    if (!in.atEnd())
        return std::nullopt;
    return cache;
}
