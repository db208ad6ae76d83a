#include "PodcastsView.h"

#include "EpisodeListView.h"
#include "PodcastArtworkLoader.h"
#include "PodcastDisplay.h"
#include "facade/Library.h"
#include "widgets/Icons.h"
#include "widgets/ListDetailSplit.h"
#include "widgets/PlaceholderView.h"
#include "widgets/RowWidgets.h"

#include <QAction>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPointer>
#include <QProgressBar>
#include <QPushButton>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int idRole = Qt::UserRole;
constexpr int artworkSide = 40;

QToolButton* plainButton(const QString& icon, const QString& help, QWidget* parent)
{
    auto* button = new QToolButton(parent);
    button->setIcon(Icons::symbol(icon));
    button->setToolTip(help);
    button->setAccessibleName(help);
    button->setAutoRaise(true);
    return button;
}

// A podcast's row: cover, title, episode count and its own refresh button.
QWidget* podcastRow(const QImage& cover, const QString& title, const QString& count, QToolButton* refresh)
{
    auto* row = new QWidget;
    auto* artwork = new QLabel(row);
    artwork->setFixedSize(artworkSide, artworkSide);
    artwork->setAlignment(Qt::AlignCenter);
    if (cover.isNull())
        artwork->setPixmap(Icons::symbol(u"mic"_s).pixmap(artworkSide / 2));
    else
        artwork->setPixmap(QPixmap::fromImage(cover));
    auto* name = new QLabel(title, row);
    name->setObjectName(u"title"_s);
    auto* episodes = new QLabel(count, row);
    episodes->setObjectName(u"count"_s);
    episodes->setForegroundRole(QPalette::PlaceholderText);
    auto* texts = new QVBoxLayout;
    texts->setSpacing(0);
    texts->addWidget(name);
    texts->addWidget(episodes);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(4, 3, 4, 3);
    layout->addWidget(artwork);
    layout->addLayout(texts, 1);
    refresh->setParent(row);
    layout->addWidget(refresh);
    return row;
}

} // namespace

PodcastsView::PodcastsView(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_artwork(new PodcastArtworkLoader(artworkSide, this))
    , m_filter(new QLineEdit(this))
    , m_list(new QListWidget(this))
    , m_noPodcasts(new PlaceholderView(u"mic.badge.plus"_s, u"No podcasts yet"_s, QString(), this))
    , m_noResults(new PlaceholderView(u"No results"_s, this))
    , m_listStack(new QStackedWidget(this))
    , m_refreshAll(plainButton(u"arrow.clockwise"_s, u"Refresh all podcasts"_s, this))
    , m_refreshAllStack(new QStackedWidget(this))
    , m_detailStack(new QStackedWidget(this))
    , m_noSelection(new PlaceholderView(u"mic"_s, u"No Podcast Selected"_s, u"Choose a podcast from the list."_s, this))
{
    auto* heading = new QLabel(u"Podcasts"_s, this);
    QFont bold = heading->font();
    bold.setBold(true);
    heading->setFont(bold);
    auto* add = plainButton(u"plus"_s, u"Add podcast"_s, this);
    auto* running = new QProgressBar(this);
    running->setRange(0, 0);
    running->setTextVisible(false);
    running->setFixedSize(16, 16);
    m_refreshAllStack->addWidget(m_refreshAll);
    m_refreshAllStack->addWidget(running);
    m_refreshAllStack->setFixedSize(m_refreshAll->sizeHint());
    auto* toolbar = new QHBoxLayout;
    toolbar->addWidget(heading, 1);
    toolbar->addWidget(add);
    toolbar->addWidget(m_refreshAllStack);

    m_filter->setPlaceholderText(u"Filter"_s);
    m_filter->addAction(Icons::symbol(u"magnifyingglass"_s), QLineEdit::LeadingPosition);
    m_filter->setClearButtonEnabled(true);

    // The empty state's own way in, beside the heading's.
    auto* addFromEmpty = new QPushButton(u"Add Podcast…"_s, m_noPodcasts);
    auto* emptyLayout = static_cast<QVBoxLayout*>(m_noPodcasts->layout());
    emptyLayout->insertWidget(emptyLayout->count() - 1, addFromEmpty, 0, Qt::AlignHCenter);

    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setContextMenuPolicy(Qt::CustomContextMenu);
    m_list->setFrameShape(QFrame::NoFrame);
    m_listStack->addWidget(m_list);
    m_listStack->addWidget(m_noPodcasts);
    m_listStack->addWidget(m_noResults);

    auto* left = new QWidget(this);
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->setContentsMargins(6, 6, 0, 0);
    leftLayout->addLayout(toolbar);
    leftLayout->addWidget(m_filter);
    leftLayout->addWidget(m_listStack, 1);

    m_detailStack->addWidget(m_noSelection);
    placeListAndDetail(this, left, m_detailStack, 240);

    connect(add, &QToolButton::clicked, this, &PodcastsView::showSearchSheet);
    connect(addFromEmpty, &QPushButton::clicked, this, &PodcastsView::showSearchSheet);
    connect(m_refreshAll, &QToolButton::clicked, this, [this] { refreshAll(); });
    connect(m_filter, &QLineEdit::textChanged, this, &PodcastsView::fillList);
    connect(m_artwork, &PodcastArtworkLoader::coverReady, this, &PodcastsView::fillList);
    connect(&library, &Library::podcastsChanged, this, [this] {
        fillList();
        showEpisodes();
    });
    connect(&library, &Library::episodesChanged, this, &PodcastsView::fillList);
    connect(m_list, &QListWidget::itemSelectionChanged, this, [this] {
        const QList<QListWidgetItem*> chosen = m_list->selectedItems();
        if (!chosen.isEmpty())
            setSelectedPodcastID(chosen.constFirst()->data(idRole).toUuid());
    });
    connect(m_list, &QWidget::customContextMenuRequested, this, [this](const QPoint& position) {
        const QListWidgetItem* item = m_list->itemAt(position);
        if (!item)
            return;
        QMenu menu;
        fillRowMenu(menu, item->data(idRole).toUuid());
        menu.exec(m_list->viewport()->mapToGlobal(position));
    });
    fillList();
    showEpisodes();
}

void PodcastsView::fillList()
{
    const QList<Podcast> shown = PodcastDisplay::matching(m_library.podcasts(), m_filter->text());
    const QSignalBlocker blocker(m_list);
    m_list->clear();
    for (const Podcast& podcast : shown) {
        auto* item = new QListWidgetItem(m_list);
        item->setData(idRole, podcast.id);
        item->setToolTip(podcast.title);
        auto* refresh = plainButton(u"arrow.clockwise"_s, u"Refresh feed"_s, nullptr);
        connect(refresh, &QToolButton::clicked, this, [this, id = podcast.id] { refreshOne(id); });
        const QImage cover = podcast.artworkURL ? m_artwork->cover(*podcast.artworkURL) : QImage();
        QWidget* row = podcastRow(cover, podcast.title,
                                  PodcastDisplay::episodeCount(m_library.episodes(podcast.id).size()), refresh);
        RowWidgets::keepOutOfTabChain(row);
        item->setSizeHint(row->sizeHint());
        m_list->setItemWidget(item, row);
        if (podcast.id == m_selectedPodcastID)
            item->setSelected(true);
    }
    if (m_library.podcasts().isEmpty())
        m_listStack->setCurrentWidget(m_noPodcasts);
    else if (shown.isEmpty())
        m_listStack->setCurrentWidget(m_noResults);
    else
        m_listStack->setCurrentWidget(m_list);
}

QStringList PodcastsView::listTexts() const
{
    if (m_listStack->currentWidget() == m_noPodcasts)
        return {u"No podcasts yet"_s};
    if (m_listStack->currentWidget() == m_noResults)
        return {u"No results"_s};
    QStringList texts;
    for (int i = 0; i < m_list->count(); ++i) {
        const QWidget* row = m_list->itemWidget(m_list->item(i));
        texts.append(row->findChild<QLabel*>(u"title"_s)->text() + u'\t'
                     + row->findChild<QLabel*>(u"count"_s)->text());
    }
    return texts;
}

void PodcastsView::setSelectedPodcastID(const std::optional<QUuid>& id)
{
    if (m_selectedPodcastID == id)
        return;
    m_selectedPodcastID = id;
    {
        const QSignalBlocker blocker(m_list);
        for (int i = 0; i < m_list->count(); ++i)
            m_list->item(i)->setSelected(id && m_list->item(i)->data(idRole).toUuid() == *id);
    }
    showEpisodes();
}

void PodcastsView::clearSelectedEpisode()
{
    m_selectedEpisode.reset();
    if (m_episodes)
        m_episodes->clearSelection();
}

void PodcastsView::showEpisodes()
{
    const bool exists = m_selectedPodcastID
                        && std::ranges::any_of(m_library.podcasts(),
                                               [this](const Podcast& p) { return p.id == *m_selectedPodcastID; });
    if (m_episodes && (!exists || m_episodes->podcastID() != *m_selectedPodcastID)) {
        m_detailStack->removeWidget(m_episodes);
        m_episodes->deleteLater();
        m_episodes = nullptr;
    }
    if (exists && !m_episodes) {
        m_episodes = new EpisodeListView(m_library, *m_selectedPodcastID, m_artwork, this);
        connect(m_episodes, &EpisodeListView::selectedEpisodeChanged, this, [this](const std::optional<Episode>& episode) {
            m_selectedEpisode = episode;
            emit selectedEpisodeChanged(episode);
        });
        m_detailStack->addWidget(m_episodes);
    }
    m_detailStack->setCurrentWidget(m_episodes ? static_cast<QWidget*>(m_episodes) : m_noSelection);
}

void PodcastsView::fillRowMenu(QMenu& menu, const QUuid& podcastID)
{
    connect(menu.addAction(u"Refresh"_s), &QAction::triggered, this, [this, podcastID] { refreshOne(podcastID); });
    connect(menu.addAction(u"Sync Settings…"_s), &QAction::triggered, this,
            [this, podcastID] { setSelectedPodcastID(podcastID); });
    connect(menu.addAction(u"Unsubscribe"_s), &QAction::triggered, this, [this, podcastID] {
        if (m_selectedPodcastID == podcastID)
            setSelectedPodcastID(std::nullopt);
        m_library.deletePodcast(podcastID);
    });
}

void PodcastsView::refreshOne(const QUuid& id)
{
    // A failed refresh leaves the podcast as it was; there is nothing more to say.
    const auto run = [](QPointer<Library> library, QUuid podcastID) -> QCoro::Task<> {
        try {
            if (library)
                co_await library->refreshPodcast(podcastID);
        } catch (const std::exception&) {
        }
    };
    run(&m_library, id);
}

QCoro::Task<> PodcastsView::refreshAll()
{
    if (m_isRefreshingAll)
        co_return;
    QPointer<PodcastsView> self(this);
    setRefreshingAll(true);
    co_await m_library.refreshAllPodcasts();
    if (self)
        setRefreshingAll(false);
}

void PodcastsView::setRefreshingAll(bool running)
{
    m_isRefreshingAll = running;
    m_refreshAll->setEnabled(!running);
    m_refreshAllStack->setCurrentIndex(running ? 1 : 0);
}

void PodcastsView::showSearchSheet()
{
    if (m_searchSheet)
        return;
    auto* sheet = new PodcastSearchSheet(m_library, this);
    m_searchSheet = sheet;
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    // The podcast that the sheet added is the one the user wants to see.
    const qsizetype before = m_library.podcasts().size();
    connect(sheet, &QDialog::accepted, this, [this, before] {
        if (m_library.podcasts().size() > before)
            setSelectedPodcastID(m_library.podcasts().constLast().id);
    });
    sheet->open();
}
