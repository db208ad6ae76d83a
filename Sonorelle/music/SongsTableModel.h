#pragma once

#include "TrackTextIndex.h"

#include <QAbstractTableModel>
#include <QList>

// The songs table over the filtered tracks: seven columns and a hidden "Gain", sorted once
// when the rows, the tracks or the sort order change, never while painting.
class SongsTableModel : public QAbstractTableModel {
    Q_OBJECT

public:
    enum Column { number, title, artist, album, year, duration, format, gain, columnTotal };

    explicit SongsTableModel(QObject* parent = nullptr);

    // The index the rows refer to, and which of its tracks to show (positions in it).
    void setRows(TrackTextIndex* index, QList<qsizetype> rows);

    const Track& trackAt(int row) const;
    int rowOf(const QUuid& id) const;

    // "#" sorts by disc × 10000 + track; year, duration, format and gain do not sort.
    static bool isSortable(int column);
    static qint64 numberSortKey(const Track& track);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;
    void sort(int column, Qt::SortOrder order) override;

private:
    void applySort();

    TrackTextIndex* m_index = nullptr;
    QList<qsizetype> m_rows;
    int m_sortColumn = title;
    Qt::SortOrder m_sortOrder = Qt::AscendingOrder;
    bool m_severalDiscs = false;
};
