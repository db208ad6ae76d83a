#pragma once

#include "library/Track.h"

#include <QAbstractTableModel>
#include <QList>
#include <QSet>
#include <QUuid>

// One line of a regular playlist: its place among the tracks that resolve, from 1.
struct PlaylistTrackRow {
    qsizetype position = 0;
    Track track;

    // The rows of resolved tracks, numbered in their order.
    static QList<PlaylistTrackRow> numbered(const QList<Track>& tracks);
};

// The tracks of a playlist as a table. A reorderable model takes drags of its own rows and
// asks for the move instead of making it: the playlist changes in the library, and the rows
// follow from there.
class PlaylistTracksModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { position, title, artist, duration, columnTotal };

    // A smart playlist's rows cannot be dragged, and its views hide the positions.
    PlaylistTracksModel(bool reorderable, QObject* parent = nullptr);

    void setRows(QList<PlaylistTrackRow> rows);
    const QList<PlaylistTrackRow>& rows() const { return m_rows; }
    const Track& trackAt(int row) const { return m_rows.at(row).track; }

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    Qt::ItemFlags flags(const QModelIndex& index) const override;

    Qt::DropActions supportedDragActions() const override;
    Qt::DropActions supportedDropActions() const override;
    QStringList mimeTypes() const override;
    QMimeData* mimeData(const QModelIndexList& indexes) const override;
    bool canDropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                         const QModelIndex& parent) const override;
    bool dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int column,
                      const QModelIndex& parent) override;

signals:
    // Rows dragged to the gap before row `destination` (the row count for the end), as the
    // drop gives it: not corrected for the dragged rows above the gap.
    void moveRequested(const QSet<qsizetype>& rows, qsizetype destination);

private:
    std::optional<QSet<qsizetype>> draggedRows(const QMimeData* data) const;

    bool m_reorderable;
    // Tells this model's drags from another's, so a row never lands in a different list.
    QUuid m_dragSource = QUuid::createUuid();
    QList<PlaylistTrackRow> m_rows;
};
