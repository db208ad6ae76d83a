#include "EpisodeListView.h"

#include "EpisodeRow.h"
#include "PodcastArtworkLoader.h"
#include "facade/Library.h"
#include "widgets/PlaceholderView.h"
#include "widgets/RowWidgets.h"

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int coverSide = 64;
constexpr std::array filters{PodcastDisplay::EpisodeFilter::all, PodcastDisplay::EpisodeFilter::downloaded,
                             PodcastDisplay::EpisodeFilter::unplayed};

const Podcast* findPodcast(const Library& library, const QUuid& id)
{
    for (const Podcast& podcast : library.podcasts()) {
        if (podcast.id == id)
            return &podcast;
    }
    return nullptr;
}

} // namespace

EpisodeListView::EpisodeListView(Library& library, const QUuid& podcastID, PodcastArtworkLoader* artwork,
                                 QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_podcastID(podcastID)
    , m_artwork(artwork)
    , m_cover(new QLabel(this))
    , m_title(new QLabel(this))
    , m_count(new QLabel(this))
    , m_updated(new QLabel(this))
    , m_syncSettings(new QPushButton(u"Sync Settings"_s, this))
    , m_filterButtons(new QButtonGroup(this))
    , m_list(new QListWidget(this))
    , m_stack(new QStackedWidget(this))
{
    m_cover->setFixedSize(coverSide, coverSide);
    m_cover->setAlignment(Qt::AlignCenter);
    QFont bold = m_title->font();
    bold.setBold(true);
    bold.setPointSizeF(bold.pointSizeF() * 1.2);
    m_title->setFont(bold);
    m_title->setWordWrap(true);
    m_count->setForegroundRole(QPalette::PlaceholderText);
    m_updated->setForegroundRole(QPalette::PlaceholderText);
    auto* texts = new QVBoxLayout;
    texts->addWidget(m_title);
    auto* countLine = new QHBoxLayout;
    countLine->setSpacing(12);
    countLine->addWidget(m_count);
    countLine->addWidget(m_updated, 1);
    texts->addLayout(countLine);
    auto* settingsLine = new QHBoxLayout;
    settingsLine->addWidget(m_syncSettings);
    settingsLine->addStretch(1);
    texts->addLayout(settingsLine);
    auto* header = new QHBoxLayout;
    header->addWidget(m_cover, 0, Qt::AlignTop);
    header->addLayout(texts, 1);

    // The segmented "Filter" picker.
    auto* filterLine = new QHBoxLayout;
    filterLine->setSpacing(0);
    auto* filterPicker = new QWidget(this);
    filterPicker->setAccessibleName(u"Filter"_s);
    filterLine->addStretch(1);
    for (const EpisodeFilter filter : filters) {
        auto* button = new QPushButton(PodcastDisplay::label(filter), filterPicker);
        button->setCheckable(true);
        button->setChecked(filter == m_filter);
        m_filterButtons->addButton(button, int(filter));
        filterLine->addWidget(button);
    }
    filterLine->addStretch(1);

    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setFrameShape(QFrame::NoFrame);
    m_stack->addWidget(m_list);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(8, 8, 8, 0);
    layout->addLayout(header);
    filterPicker->setLayout(filterLine);
    layout->addWidget(filterPicker);
    layout->addWidget(m_stack, 1);

    connect(m_filterButtons, &QButtonGroup::idClicked, this, [this](int id) { setFilter(EpisodeFilter(id)); });
    connect(m_syncSettings, &QPushButton::clicked, this, &EpisodeListView::openSyncSettings);
    connect(m_artwork, &PodcastArtworkLoader::coverReady, this, &EpisodeListView::fillHeader);
    // A row's own menu may have caused the change: it is rebuilt once its event is over.
    const auto refreshSoon = [this] {
        if (m_refreshQueued)
            return;
        m_refreshQueued = true;
        QMetaObject::invokeMethod(this, &EpisodeListView::refresh, Qt::QueuedConnection);
    };
    connect(&library, &Library::episodesChanged, this, refreshSoon);
    connect(&library, &Library::podcastsChanged, this, refreshSoon);
    connect(&library, &Library::downloadProgressChanged, this, &EpisodeListView::updateProgress);
    connect(m_list, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem*> chosen = m_list->selectedItems();
        if (chosen.isEmpty())
            return;
        setSelectedEpisode(chosen.constFirst()->data(idRole).toUuid());
    });
    refresh();
}

void EpisodeListView::refresh()
{
    m_refreshQueued = false;
    fillHeader();
    fillList();
}

void EpisodeListView::fillHeader()
{
    const Podcast* podcast = findPodcast(m_library, m_podcastID);
    if (!podcast)
        return;
    m_title->setText(podcast->title);
    const QImage cover = podcast->artworkURL ? m_artwork->cover(*podcast->artworkURL) : QImage();
    if (cover.isNull())
        m_cover->setPixmap(QPixmap());
    else
        m_cover->setPixmap(QPixmap::fromImage(cover.scaled(coverSide, coverSide, Qt::KeepAspectRatio,
                                                           Qt::SmoothTransformation)));
    m_count->setText(PodcastDisplay::episodeCount(m_library.episodes(m_podcastID).size()));
    const QString updated = PodcastDisplay::updatedText(podcast->lastFetched, QDateTime::currentDateTimeUtc());
    m_updated->setText(updated);
}

void EpisodeListView::fillList()
{
    const QList<Episode> shown = PodcastDisplay::filtered(m_library.episodes(m_podcastID), m_filter);
    const QSignalBlocker blocker(m_list);
    m_list->clear();
    for (const Episode& episode : shown) {
        auto* item = new QListWidgetItem(m_list);
        item->setData(idRole, episode.id);
        auto* row = new EpisodeRow(m_library, episode);
        RowWidgets::keepOutOfTabChain(row);
        item->setSizeHint(row->sizeHint());
        m_list->setItemWidget(item, row);
        if (m_selectedEpisode && m_selectedEpisode->id == episode.id)
            item->setSelected(true);
    }
    if (m_empty) {
        m_stack->removeWidget(m_empty);
        m_empty->deleteLater();
        m_empty = nullptr;
    }
    if (shown.isEmpty()) {
        const auto [title, message] = PodcastDisplay::emptyText(m_filter);
        m_empty = new PlaceholderView(u"mic.slash"_s, title, message, this);
        m_stack->addWidget(m_empty);
        m_stack->setCurrentWidget(m_empty);
    } else {
        m_stack->setCurrentWidget(m_list);
    }
}

void EpisodeListView::updateProgress()
{
    for (int i = 0; i < m_list->count(); ++i) {
        if (auto* row = rowAt(i); row && row->episode().downloadState == DownloadState::downloading)
            row->refresh();
    }
}

void EpisodeListView::setFilter(EpisodeFilter filter)
{
    m_filter = filter;
    m_filterButtons->button(int(filter))->setChecked(true);
    fillList();
}

void EpisodeListView::setSelectedEpisode(const QUuid& id)
{
    for (const Episode& episode : m_library.episodes()) {
        if (episode.id == id) {
            m_selectedEpisode = episode;
            emit selectedEpisodeChanged(episode);
            return;
        }
    }
}

void EpisodeListView::clearSelection()
{
    m_selectedEpisode.reset();
    const QSignalBlocker blocker(m_list);
    m_list->clearSelection();
}

QString EpisodeListView::titleText() const
{
    return m_title->text();
}

QString EpisodeListView::countText() const
{
    return m_count->text();
}

QString EpisodeListView::updatedText() const
{
    return m_updated->text();
}

EpisodeRow* EpisodeListView::rowAt(int index) const
{
    return qobject_cast<EpisodeRow*>(m_list->itemWidget(m_list->item(index)));
}

QString EpisodeListView::emptyTitle() const
{
    return m_empty ? m_empty->title() : QString();
}

QString EpisodeListView::emptyMessage() const
{
    return m_empty ? m_empty->message() : QString();
}

void EpisodeListView::openSyncSettings()
{
    const Podcast* podcast = findPodcast(m_library, m_podcastID);
    if (!podcast || m_sheet)
        return;
    m_sheet = new PodcastSyncSettingsSheet(m_library, *podcast, this);
    m_sheet->setAttribute(Qt::WA_DeleteOnClose);
    m_sheet->open();
}
