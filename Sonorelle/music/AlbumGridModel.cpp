#include "AlbumGridModel.h"

#include "AlbumArtworkLoader.h"

using namespace Qt::StringLiterals;

AlbumGridModel::AlbumGridModel(AlbumArtworkLoader& loader, QObject* parent)
    : QAbstractListModel(parent)
    , m_loader(loader)
{
    connect(&m_loader, &AlbumArtworkLoader::coverReady, this, [this](const QString& key) {
        const int row = m_rowByKey.value(key, -1);
        if (row >= 0)
            emit dataChanged(index(row), index(row), {coverRole});
    });
}

void AlbumGridModel::setGroups(QList<AlbumGroup> groups)
{
    beginResetModel();
    m_groups = std::move(groups);
    m_rowByKey.clear();
    for (int row = 0; row < m_groups.size(); ++row)
        m_rowByKey.insert(AlbumArtworkLoader::keyOf(m_groups.at(row)), row);
    endResetModel();
}

int AlbumGridModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_groups.size());
}

QVariant AlbumGridModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= m_groups.size())
        return {};
    const AlbumGroup& group = m_groups.at(index.row());
    switch (role) {
    case coverRole: return m_loader.cover(group);
    case albumRole:
    case Qt::DisplayRole: return group.album.isEmpty() ? u"Unknown Album"_s : group.album;
    case artistRole: return group.artist.isEmpty() ? u"Unknown Artist"_s : group.artist;
    case Qt::ToolTipRole: return QString((group.album.isEmpty() ? u"Unknown Album"_s : group.album) + u'\n' + group.artist);
    default: return {};
    }
}
