#pragma once

#include "AlbumGroup.h"

#include <QAbstractListModel>
#include <QHash>

class AlbumArtworkLoader;

// The albums of the grid; each tile's cover comes from the loader as it is painted.
class AlbumGridModel : public QAbstractListModel {
    Q_OBJECT

public:
    enum Role { coverRole = Qt::UserRole + 1, albumRole, artistRole };

    AlbumGridModel(AlbumArtworkLoader& loader, QObject* parent = nullptr);

    void setGroups(QList<AlbumGroup> groups);
    const QList<AlbumGroup>& groups() const { return m_groups; }

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;

private:
    AlbumArtworkLoader& m_loader;
    QList<AlbumGroup> m_groups;
    QHash<QString, int> m_rowByKey;
};
