#include "PodcastArtworkLoader.h"

#include "library/Background.h"
#include "podcasts/PodcastHttp.h"

#include <QPointer>

namespace {

// Covers are square pictures of a few hundred KiB; anything far larger is not one.
constexpr qint64 maximumCoverBytes = 16 * 1024 * 1024;

} // namespace

PodcastArtworkLoader::PodcastArtworkLoader(int side, QObject* parent)
    : QObject(parent)
    , m_side(side)
{
}

QImage PodcastArtworkLoader::cover(const QUrl& url)
{
    if (const auto found = m_covers.constFind(url); found != m_covers.constEnd())
        return *found;
    if (!m_loading.contains(url) && url.isValid()) {
        m_loading.insert(url);
        load(url);
    }
    return {};
}

QCoro::Task<> PodcastArtworkLoader::load(QUrl url)
{
    QPointer<PodcastArtworkLoader> self(this);
    const QString defaultUserAgent;
    const PodcastHttp::Body body = co_await PodcastHttp::get(url, defaultUserAgent, maximumCoverBytes);
    QImage image;
    if (self && !body.failure && !body.tooLarge && body.status == 200) {
        const auto decode = [data = body.data, side = m_side] {
            const QImage full = QImage::fromData(data);
            return full.isNull() ? full : full.scaled(side, side, Qt::KeepAspectRatio, Qt::SmoothTransformation);
        };
        image = co_await Background::run(decode);
    }
    if (!self)
        co_return;
    m_loading.remove(url);
    m_covers.insert(url, image);
    if (!image.isNull())
        emit coverReady(url);
}
