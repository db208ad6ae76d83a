#include "AlbumArtworkLoader.h"

#include "facade/Library.h"
#include "library/Background.h"

namespace {

// A few decodes at a time: the grid asks for every visible tile at once.
constexpr int maximumRunning = 3;
constexpr int keptCovers = 400;

} // namespace

AlbumArtworkLoader::AlbumArtworkLoader(Library& library, int side, QObject* parent)
    : QObject(parent)
    , m_library(&library)
    , m_side(side)
    , m_covers(keptCovers)
{
}

QString AlbumArtworkLoader::keyOf(const AlbumGroup& group)
{
    return group.artist + u'\x1f' + group.album;
}

QImage AlbumArtworkLoader::cover(const AlbumGroup& group)
{
    const QString key = keyOf(group);
    if (const QImage* image = m_covers.object(key))
        return *image;
    if (m_known.contains(key) || m_loading.contains(key) || group.tracks.isEmpty())
        return {};
    m_loading.insert(key);
    m_queue.append({key, group});
    startNext();
    return {};
}

void AlbumArtworkLoader::clear()
{
    m_covers.clear();
    m_known.clear();
    ++m_generation;
}

void AlbumArtworkLoader::startNext()
{
    // The newest requests first: they are the tiles on screen now.
    while (m_running < maximumRunning && !m_queue.isEmpty()) {
        auto [key, group] = m_queue.takeLast();
        ++m_running;
        load(std::move(group), key);
    }
}

QCoro::Task<> AlbumArtworkLoader::load(AlbumGroup group, QString key)
{
    QPointer<AlbumArtworkLoader> self(this);
    const quint64 generation = m_generation;
    const Track first = group.tracks.constFirst();
    std::optional<QByteArray> bytes = first.artworkData;
    if (!bytes && m_library)
        bytes = co_await m_library->artworkCache().artwork(first);
    QImage image;
    if (bytes && self) {
        const auto decode = [data = *bytes, side = m_side] {
            const QImage full = QImage::fromData(data);
            return full.isNull() ? full : full.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        };
        image = co_await Background::run(decode);
    }
    if (!self)
        co_return;
    --m_running;
    m_loading.remove(key);
    // After a clear the tile asks again and gets a fresh read.
    if (generation == m_generation) {
        if (image.isNull())
            m_known.insert(key);
        else
            m_covers.insert(key, new QImage(image));
    }
    emit coverReady(key);
    startNext();
}
