#include "PlaylistTracksModel.h"

#include "library/DisplayText.h"

#include <QMimeData>

using namespace Qt::StringLiterals;

namespace {

const QString rowsMimeType = u"application/x-sonorelle-playlist-rows"_s;

} // namespace

QList<PlaylistTrackRow> PlaylistTrackRow::numbered(const QList<Track>& tracks)
{
    QList<PlaylistTrackRow> rows;
    rows.reserve(tracks.size());
    for (const Track& track : tracks)
        rows.append({.position = rows.size() + 1, .track = track});
    return rows;
}

PlaylistTracksModel::PlaylistTracksModel(bool reorderable, QObject* parent)
    : QAbstractTableModel(parent)
    , m_reorderable(reorderable)
{
}

void PlaylistTracksModel::setRows(QList<PlaylistTrackRow> rows)
{
    beginResetModel();
    m_rows = std::move(rows);
    endResetModel();
}

int PlaylistTracksModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

int PlaylistTracksModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : columnTotal;
}

QVariant PlaylistTracksModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_rows.size())
        return {};
    const PlaylistTrackRow& row = m_rows.at(index.row());
    if (role == Qt::DisplayRole) {
        switch (index.column()) {
        case position: return QString::number(row.position);
        case title: return row.track.title;
        case artist: return row.track.artist;
        case duration: return DisplayText::formatDuration(row.track.duration);
        }
    }
    if (role == Qt::TextAlignmentRole && (index.column() == position || index.column() == duration))
        return QVariant::fromValue(Qt::AlignRight | Qt::AlignVCenter);
    return {};
}

QVariant PlaylistTracksModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
    case position: return u"#"_s;
    case title: return u"Title"_s;
    case artist: return u"Artist"_s;
    case duration: return u"Time"_s;
    }
    return {};
}

Qt::ItemFlags PlaylistTracksModel::flags(const QModelIndex& index) const
{
    if (!index.isValid())
        return m_reorderable ? Qt::ItemIsDropEnabled : Qt::NoItemFlags;
    // Rows take no drops themselves, so a drop always falls into a gap between two of them.
    Qt::ItemFlags flags = Qt::ItemIsEnabled | Qt::ItemIsSelectable | Qt::ItemNeverHasChildren;
    if (m_reorderable)
        flags |= Qt::ItemIsDragEnabled;
    return flags;
}

Qt::DropActions PlaylistTracksModel::supportedDragActions() const
{
    return m_reorderable ? Qt::MoveAction : Qt::IgnoreAction;
}

Qt::DropActions PlaylistTracksModel::supportedDropActions() const
{
    return m_reorderable ? Qt::MoveAction : Qt::IgnoreAction;
}

QStringList PlaylistTracksModel::mimeTypes() const
{
    return {rowsMimeType};
}

QMimeData* PlaylistTracksModel::mimeData(const QModelIndexList& indexes) const
{
    QSet<int> rows;
    for (const QModelIndex& index : indexes)
        rows.insert(index.row());
    QStringList text{m_dragSource.toString(QUuid::WithoutBraces)};
    for (int row : std::as_const(rows))
        text.append(QString::number(row));
    auto* data = new QMimeData;
    data->setData(rowsMimeType, text.join(u' ').toUtf8());
    return data;
}

std::optional<QSet<qsizetype>> PlaylistTracksModel::draggedRows(const QMimeData* data) const
{
    if (!m_reorderable || !data || !data->hasFormat(rowsMimeType))
        return std::nullopt;
    const QStringList parts = QString::fromUtf8(data->data(rowsMimeType)).split(u' ', Qt::SkipEmptyParts);
    if (parts.isEmpty() || QUuid::fromString(parts.constFirst()) != m_dragSource)
        return std::nullopt;
    QSet<qsizetype> rows;
    for (qsizetype i = 1; i < parts.size(); ++i) {
        bool ok = false;
        const qsizetype row = parts.at(i).toLongLong(&ok);
        if (!ok || row < 0 || row >= m_rows.size())
            return std::nullopt;
        rows.insert(row);
    }
    if (rows.isEmpty())
        return std::nullopt;
    return rows;
}

bool PlaylistTracksModel::canDropMimeData(const QMimeData* data, Qt::DropAction action, int, int,
                                          const QModelIndex&) const
{
    return action == Qt::MoveAction && draggedRows(data).has_value();
}

bool PlaylistTracksModel::dropMimeData(const QMimeData* data, Qt::DropAction action, int row, int,
                                       const QModelIndex& parent)
{
    if (action != Qt::MoveAction)
        return false;
    const std::optional<QSet<qsizetype>> rows = draggedRows(data);
    if (!rows)
        return false;
    qsizetype destination = row;
    if (parent.isValid())
        destination = parent.row();
    else if (row < 0)
        destination = m_rows.size(); // dropped below the last row
    emit moveRequested(*rows, destination);
    return true;
}
