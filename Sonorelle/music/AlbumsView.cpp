#include "AlbumsView.h"

#include "AlbumArtworkLoader.h"
#include "AlbumGridModel.h"
#include "AlbumRefetchSheet.h"
#include "AlbumTile.h"
#include "devices/DeviceMenuItems.h"
#include "facade/Library.h"
#include "library/Settings.h"
#include "widgets/StatusToast.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QMenu>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int coverSide = 160;
// The order the user last chose, for the next launch.
constexpr Settings::Key<AlbumSortOption> albumSortOption{"albumSortOption", AlbumSortOption::artist};
// The sentences of a re-fetch are longer than most toasts.
constexpr auto refetchToastDuration = std::chrono::seconds(4);

// Whether the picture a tile is drawn from changed: the first track's own bytes, which a
// re-fetch or an artwork fetch replaces. Shared bytes are the same picture without comparing.
bool pictureChanged(const Track& before, const Track& after)
{
    if (before.artworkData.has_value() != after.artworkData.has_value())
        return true;
    if (!before.artworkData)
        return false;
    return before.artworkData->constData() != after.artworkData->constData() && *before.artworkData != *after.artworkData;
}

// Covers are kept by album; an album whose first track is the same track with another
// picture needs its cover drawn again.
bool coversChanged(const QList<AlbumGroup>& before, const QList<AlbumGroup>& after)
{
    QHash<QUuid, const Track*> firstTracks;
    for (const AlbumGroup& group : before) {
        if (!group.tracks.isEmpty())
            firstTracks.insert(group.tracks.constFirst().id, &group.tracks.constFirst());
    }
    return std::any_of(after.cbegin(), after.cend(), [&firstTracks](const AlbumGroup& group) {
        if (group.tracks.isEmpty())
            return false;
        const Track* previous = firstTracks.value(group.tracks.constFirst().id);
        return previous && pictureChanged(*previous, group.tracks.constFirst());
    });
}

} // namespace

AlbumsView::AlbumsView(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_library(library)
    , m_loader(new AlbumArtworkLoader(library, coverSide, this))
    , m_model(new AlbumGridModel(*m_loader, this))
    , m_sortPicker(new QComboBox(this))
    , m_grid(new QListView(this))
    , m_toast(new StatusToast(this))
{
    m_sortPicker->addItem(u"Artist"_s);
    m_sortPicker->addItem(u"Album"_s);
    m_sortOption = Settings::value(albumSortOption);
    m_sortPicker->setCurrentIndex(m_sortOption == AlbumSortOption::artist ? 0 : 1);
    auto* toolbar = new QHBoxLayout;
    toolbar->addStretch();
    toolbar->addWidget(new QLabel(u"Sort by"_s, this));
    toolbar->addWidget(m_sortPicker);

    m_grid->setModel(m_model);
    m_grid->setItemDelegate(new AlbumTile(coverSide, m_grid));
    m_grid->setViewMode(QListView::IconMode);
    m_grid->setResizeMode(QListView::Adjust);
    m_grid->setMovement(QListView::Static);
    m_grid->setUniformItemSizes(true);
    m_grid->setSpacing(12); // 24 between neighbouring tiles
    m_grid->setSelectionMode(QAbstractItemView::SingleSelection);
    m_grid->setFrameShape(QFrame::NoFrame);
    m_grid->setLayoutMode(QListView::Batched);
    m_grid->setContextMenuPolicy(Qt::CustomContextMenu);
    m_toastTimer.setSingleShot(true);
    m_toastTimer.setInterval(refetchToastDuration);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addLayout(toolbar);
    layout->addWidget(m_grid, 1);

    connect(m_sortPicker, &QComboBox::currentIndexChanged, this,
            [this](int index) { setSortOption(index == 0 ? AlbumSortOption::artist : AlbumSortOption::album); });
    connect(m_grid, &QListView::clicked, this, [this](const QModelIndex& index) {
        if (index.isValid())
            emit albumActivated(m_model->groups().at(index.row()));
    });
    connect(m_grid, &QListView::customContextMenuRequested, this, [this](const QPoint& position) {
        if (std::unique_ptr<QMenu> menu = contextMenu(m_grid->indexAt(position)))
            menu->exec(m_grid->viewport()->mapToGlobal(position));
    });
    connect(&m_toastTimer, &QTimer::timeout, this, [this] { setRefetchStatus(std::nullopt); });
}

std::unique_ptr<QMenu> AlbumsView::contextMenu(const QModelIndex& index)
{
    if (!index.isValid() || index.row() >= m_model->groups().size())
        return nullptr;
    auto menu = std::make_unique<QMenu>(this);
    const AlbumGroup album = m_model->groups().at(index.row());
    menu->addAction(u"Re-fetch Album Info…"_s, this, [this, album] { showRefetchSheet(album); });
    if (Library::discIDOf(album.tracks))
        menu->addAction(u"Look Up Again"_s, this, [this, album] { lookUpAgain(album); });
    QList<QUuid> ids;
    for (const Track& track : album.tracks)
        ids.append(track.id);
    DeviceMenuItems::addTo(*menu, m_library, ids);
    return menu;
}

QCoro::Task<> AlbumsView::lookUpAgain(AlbumGroup album)
{
    QPointer<AlbumsView> self(this);
    QString message;
    try {
        const Library::AlbumRefetchSummary summary = co_await m_library.lookUpAlbumAgain(album.tracks);
        message = summary.message();
    } catch (const Library::AlbumRefetchError& error) {
        message = error.message();
    }
    if (self)
        setRefetchStatus(message);
}

void AlbumsView::showRefetchSheet(const AlbumGroup& album)
{
    if (m_refetchSheet)
        return;
    m_refetchTarget = album;
    QPointer<AlbumsView> self(this);
    const auto onResult = [self](const QString& message) {
        if (self)
            self->setRefetchStatus(message);
    };
    m_refetchSheet = new AlbumRefetchSheet(m_library, album, onResult, this);
    m_refetchSheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(m_refetchSheet, &QDialog::finished, this, [this] { m_refetchTarget.reset(); });
    m_refetchSheet->open();
}

void AlbumsView::setRefetchStatus(const std::optional<QString>& status)
{
    m_refetchStatus = status;
    m_toast->setMessage(status.value_or(QString()));
    if (status)
        m_toastTimer.start();
}

const QList<AlbumGroup>& AlbumsView::groups() const
{
    return m_model->groups();
}

void AlbumsView::setTracks(const QList<Track>& tracks)
{
    m_tracks = tracks;
    regroup();
}

void AlbumsView::setSortOption(AlbumSortOption option)
{
    m_sortOption = option;
    Settings::setValue(albumSortOption, option);
    m_sortPicker->setCurrentIndex(option == AlbumSortOption::artist ? 0 : 1);
    regroup();
}

void AlbumsView::regroup()
{
    QList<AlbumGroup> groups = AlbumGroup::group(m_tracks, m_sortOption);
    if (coversChanged(m_model->groups(), groups))
        m_loader->clear();
    m_model->setGroups(std::move(groups));
}
