#pragma once

#include <QStyledItemDelegate>

// One album of the grid: its cover (or a note on a dim square), the album and the artist.
class AlbumTile : public QStyledItemDelegate {
    Q_OBJECT

public:
    AlbumTile(int side, QObject* parent = nullptr);

    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    int m_side;
};
