#include "ArtworkCache.h"

#include "TagReader.h"

#include <QCoro/QCoroFuture>
#include <QPointer>
#include <QtConcurrent/QtConcurrentRun>

namespace {

ArtworkCache::Artwork readPicture(const QUrl& url)
{
    const auto metadata = TagReader::read(url);
    return metadata ? metadata->artworkData : std::nullopt;
}

} // namespace

ArtworkCache::ArtworkCache(QObject* parent)
    : ArtworkCache(readPicture, parent)
{
}

ArtworkCache::ArtworkCache(Reader reader, QObject* parent)
    : QObject(parent)
    , m_reader(std::move(reader))
{
}

std::optional<ArtworkCache::Artwork> ArtworkCache::cached(const QUuid& id) const
{
    const auto entry = m_cache.constFind(id);
    if (entry == m_cache.cend())
        return std::nullopt;
    return *entry;
}

QCoro::Task<ArtworkCache::Artwork> ArtworkCache::artwork(Track track)
{
    if (const auto known = cached(track.id))
        co_return *known;
    // A QFuture can be awaited by any number of callers: they all share the one read.
    Load load = m_inFlight.value(track.id);
    if (!load.future.isValid()) {
        load.future = QtConcurrent::run(m_reader, track.url);
        load.serial = m_nextSerial++;
        m_inFlight.insert(track.id, load);
    }
    QPointer<ArtworkCache> self(this);
    const Artwork result = co_await load.future;
    if (!self)
        co_return result;
    // The result is recorded once, and only if nobody warmed or invalidated the entry
    // while the file was read.
    const auto current = m_inFlight.constFind(track.id);
    if (current != m_inFlight.cend() && current->serial == load.serial) {
        m_inFlight.erase(current);
        m_cache.insert(track.id, result);
    }
    co_return result;
}

void ArtworkCache::warm(const Artwork& data, const QUuid& id)
{
    m_cache.insert(id, data);
    m_inFlight.remove(id);
}

void ArtworkCache::invalidate(const QUuid& id)
{
    m_cache.remove(id);
    m_inFlight.remove(id);
}
