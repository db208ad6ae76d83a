#include "PodcastPreviewPanel.h"

#include "PodcastArtworkLoader.h"
#include "facade/Library.h"
#include "widgets/Icons.h"

#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int coverSide = 96;

} // namespace

PodcastPreviewPanel::PodcastPreviewPanel(Library& library, const Podcast& podcast, const QList<Episode>& episodes,
                                         PodcastArtworkLoader* artwork, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_podcast(podcast)
    , m_previewEpisodes(episodes.mid(0, previewCount))
    , m_artwork(artwork)
    , m_cover(new QLabel(this))
    , m_subscribe(new QPushButton(this))
{
    m_cover->setFixedSize(coverSide, coverSide);
    m_cover->setAlignment(Qt::AlignCenter);
    auto* title = new QLabel(podcast.title, this);
    QFont big = title->font();
    big.setBold(true);
    big.setPointSizeF(big.pointSizeF() * 1.2);
    title->setFont(big);
    title->setWordWrap(true);
    title->setAlignment(Qt::AlignCenter);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_cover, 0, Qt::AlignHCenter);
    layout->addWidget(title);
    if (!podcast.description.isEmpty()) {
        // Raw as the feed gave it, cut to three lines.
        auto* description = new QLabel(this);
        description->setTextFormat(Qt::PlainText);
        description->setWordWrap(true);
        description->setText(podcast.description);
        description->setMaximumHeight(3 * description->fontMetrics().lineSpacing());
        description->setForegroundRole(QPalette::PlaceholderText);
        layout->addWidget(description);
    }
    layout->addWidget(m_subscribe, 0, Qt::AlignHCenter);
    auto* heading = new QLabel(u"Recent Episodes"_s, this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    layout->addSpacing(8);
    layout->addWidget(heading);
    for (const Episode& episode : m_previewEpisodes) {
        auto* row = new QLabel(episode.title.toHtmlEscaped() + u"<br><span style=\"color: gray\">"_s
                                   + QLocale().toString(episode.publishDate.toDateTime().toLocalTime().date(),
                                                        QLocale::ShortFormat)
                                   + u"</span>"_s,
                               this);
        row->setObjectName(u"episode"_s);
        row->setTextFormat(Qt::RichText);
        layout->addWidget(row);
    }
    layout->addStretch(1);

    connect(m_subscribe, &QPushButton::clicked, this, [this] { emit subscribeRequested(m_podcast.feedURL); });
    connect(&library, &Library::podcastsChanged, this, &PodcastPreviewPanel::showSubscribed);
    connect(m_artwork, &PodcastArtworkLoader::coverReady, this, &PodcastPreviewPanel::showCover);
    showCover();
    showSubscribed();
}

bool PodcastPreviewPanel::isSubscribed() const
{
    return std::ranges::any_of(m_library.podcasts(),
                               [this](const Podcast& p) { return p.feedURL == m_podcast.feedURL; });
}

void PodcastPreviewPanel::showCover()
{
    const QImage cover = m_podcast.artworkURL ? m_artwork->cover(*m_podcast.artworkURL) : QImage();
    if (cover.isNull())
        m_cover->setPixmap(Icons::symbol(u"mic"_s).pixmap(coverSide / 2));
    else
        m_cover->setPixmap(QPixmap::fromImage(cover));
}

void PodcastPreviewPanel::showSubscribed()
{
    const bool subscribed = isSubscribed();
    m_subscribe->setText(subscribed ? u"Already subscribed"_s : u"Subscribe"_s);
    m_subscribe->setIcon(Icons::symbol(subscribed ? u"checkmark.circle.fill"_s : u"plus.circle.fill"_s));
    m_subscribe->setEnabled(!subscribed);
}
