#include "AlbumsView.h"

#include "AlbumArtworkLoader.h"
#include "AlbumGridModel.h"
#include "AlbumTile.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListView>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

constexpr int coverSide = 160;

} // namespace

AlbumsView::AlbumsView(Library& library, QWidget* parent)
    : QWidget(parent)
    , m_loader(new AlbumArtworkLoader(library, coverSide, this))
    , m_model(new AlbumGridModel(*m_loader, this))
    , m_sortPicker(new QComboBox(this))
    , m_grid(new QListView(this))
{
    m_sortPicker->addItem(u"Artist"_s);
    m_sortPicker->addItem(u"Album"_s);
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
    m_sortPicker->setCurrentIndex(option == AlbumSortOption::artist ? 0 : 1);
    regroup();
}

void AlbumsView::regroup()
{
    m_model->setGroups(AlbumGroup::group(m_tracks, m_sortOption));
}
