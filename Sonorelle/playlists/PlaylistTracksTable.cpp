#include "PlaylistTracksTable.h"

#include <QHeaderView>

#include <algorithm>

PlaylistTracksTable::PlaylistTracksTable(bool reorderable, QWidget* parent)
    : QTreeView(parent)
    , m_model(new PlaylistTracksModel(reorderable, this))
{
    setModel(m_model);
    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAlternatingRowColors(true);
    setSelectionBehavior(QAbstractItemView::SelectRows);
    setSelectionMode(QAbstractItemView::SingleSelection);
    setEditTriggers(QAbstractItemView::NoEditTriggers);
    if (reorderable) {
        setDragEnabled(true);
        setAcceptDrops(true);
        setDropIndicatorShown(true);
        setDragDropMode(QAbstractItemView::DragDrop);
        setDragDropOverwriteMode(false);
        setDefaultDropAction(Qt::MoveAction);
    }
    setColumnHidden(PlaylistTracksModel::position, !reorderable);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(PlaylistTracksModel::title, QHeaderView::Stretch);
    header()->setSectionResizeMode(PlaylistTracksModel::artist, QHeaderView::Interactive);
    setColumnWidth(PlaylistTracksModel::position, 44);
    setColumnWidth(PlaylistTracksModel::artist, 180);
    setColumnWidth(PlaylistTracksModel::duration, 64);

    connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, &PlaylistTracksTable::selectionDidChange);
}

void PlaylistTracksTable::setRows(QList<PlaylistTrackRow> rows)
{
    const int previousRow = currentIndex().isValid() ? currentIndex().row() : -1;
    m_model->setRows(std::move(rows));

    // A move or a removal above the selected row shifts it; the selection goes with its track.
    const QList<PlaylistTrackRow>& now = m_model->rows();
    qsizetype row = -1;
    if (m_selected) {
        const auto isSelected = [this](const PlaylistTrackRow& candidate) { return candidate.track.id == *m_selected; };
        if (previousRow >= 0 && previousRow < now.size() && isSelected(now.at(previousRow)))
            row = previousRow;
        else if (const auto it = std::find_if(now.cbegin(), now.cend(), isSelected); it != now.cend())
            row = it - now.cbegin();
    }
    if (row >= 0)
        selectionModel()->setCurrentIndex(m_model->index(int(row), 0),
                                          QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
    selectionDidChange();
}

void PlaylistTracksTable::clearSelectedTrack()
{
    selectionModel()->clear();
}

void PlaylistTracksTable::selectionDidChange()
{
    const QModelIndexList rows = selectionModel()->selectedRows();
    const std::optional<Track> track =
        rows.isEmpty() ? std::nullopt : std::optional<Track>(m_model->trackAt(rows.constFirst().row()));
    const std::optional<QUuid> id = track ? std::optional<QUuid>(track->id) : std::nullopt;
    if (id == m_selected)
        return;
    m_selected = id;
    emit selectedTrackChanged(track);
}
