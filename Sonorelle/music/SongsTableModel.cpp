#include "SongsTableModel.h"

#include "library/DisplayText.h"
#include "library/ReplayGain.h"

#include <QHash>

#include <algorithm>

using namespace Qt::StringLiterals;

SongsTableModel::SongsTableModel(QObject* parent)
    : QAbstractTableModel(parent)
{
}

void SongsTableModel::setRows(TrackTextIndex* index, QList<qsizetype> rows)
{
    beginResetModel();
    m_index = index;
    m_rows = std::move(rows);
    bool several = false;
    std::optional<qint64> firstDisc;
    for (qsizetype row : std::as_const(m_rows)) {
        const auto& disc = m_index->tracks().at(row).discNumber;
        if (disc && firstDisc && *disc != *firstDisc) {
            several = true;
            break;
        }
        if (disc)
            firstDisc = disc;
    }
    m_severalDiscs = several;
    applySort();
    endResetModel();
}

const Track& SongsTableModel::trackAt(int row) const
{
    return m_index->tracks().at(m_rows.at(row));
}

int SongsTableModel::rowOf(const QUuid& id) const
{
    for (int row = 0; row < m_rows.size(); ++row) {
        if (trackAt(row).id == id)
            return row;
    }
    return -1;
}

bool SongsTableModel::isSortable(int column)
{
    return column == number || column == title || column == artist || column == album;
}

qint64 SongsTableModel::numberSortKey(const Track& track)
{
    return track.discNumber.value_or(0) * 10000 + track.trackNumber.value_or(0);
}

void SongsTableModel::applySort()
{
    if (!m_index || !isSortable(m_sortColumn))
        return;
    if (m_sortColumn != number) {
        m_index->prepareSort(m_sortColumn == artist ? TrackTextIndex::Field::artist
                             : m_sortColumn == album ? TrackTextIndex::Field::album
                                                     : TrackTextIndex::Field::title);
    }
    const TrackTextIndex& index = *m_index;
    const auto before = [&](qsizetype a, qsizetype b) {
        switch (m_sortColumn) {
        case number: return numberSortKey(index.tracks().at(a)) < numberSortKey(index.tracks().at(b));
        case artist: return index.compare(a, b, TrackTextIndex::Field::artist) < 0;
        case album: return index.compare(a, b, TrackTextIndex::Field::album) < 0;
        default: return index.compare(a, b, TrackTextIndex::Field::title) < 0;
        }
    };
    if (m_sortOrder == Qt::AscendingOrder)
        std::stable_sort(m_rows.begin(), m_rows.end(), before);
    else
        std::stable_sort(m_rows.begin(), m_rows.end(), [&before](qsizetype a, qsizetype b) { return before(b, a); });
}

void SongsTableModel::sort(int column, Qt::SortOrder order)
{
    if (!isSortable(column))
        return;
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList persistent = persistentIndexList();
    QList<QUuid> persistentIDs;
    for (const QModelIndex& index : persistent)
        persistentIDs.append(trackAt(index.row()).id);
    m_sortColumn = column;
    m_sortOrder = order;
    applySort();
    QHash<QUuid, int> rowByID;
    if (!persistent.isEmpty()) {
        for (int row = 0; row < m_rows.size(); ++row)
            rowByID.insert(trackAt(row).id, row);
    }
    QModelIndexList moved;
    for (qsizetype i = 0; i < persistent.size(); ++i)
        moved.append(this->index(rowByID.value(persistentIDs.at(i), -1), persistent.at(i).column()));
    changePersistentIndexList(persistent, moved);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

int SongsTableModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int SongsTableModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : Column::columnTotal;
}

QVariant SongsTableModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || role != Qt::DisplayRole)
        return {};
    const Track& track = trackAt(index.row());
    switch (index.column()) {
    case number: return DisplayText::trackNumberText(track, m_severalDiscs);
    case title: return track.title;
    case artist: return track.artist;
    case album: return track.album;
    case year: return track.year ? QString::number(*track.year) : u"–"_s;
    case duration: return DisplayText::formatDuration(track.duration);
    case format: return DisplayText::formatText(track.format);
    case gain: return track.replayGainTrack ? ReplayGain::gainText(*track.replayGainTrack) : u"–"_s;
    default: return {};
    }
}

QVariant SongsTableModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    static const QStringList headers{u"#"_s,    u"Title"_s,    u"Artist"_s, u"Album"_s,
                                     u"Year"_s, u"Duration"_s, u"Format"_s, u"Gain"_s};
    return headers.value(section);
}
