#pragma once

#include "AlbumGroup.h"

#include <QWidget>

#include <optional>

class AlbumArtworkLoader;
class AlbumGridModel;
class Library;
class QComboBox;
class QListView;

// The grid of albums with its "Sort by" picker. Activating a tile chooses its album.
class AlbumsView : public QWidget {
    Q_OBJECT

public:
    explicit AlbumsView(Library& library, QWidget* parent = nullptr);

    // The (filtered) tracks the grid groups.
    void setTracks(const QList<Track>& tracks);
    AlbumSortOption sortOption() const { return m_sortOption; }
    void setSortOption(AlbumSortOption option);

    const QList<AlbumGroup>& groups() const;
    QListView* grid() const { return m_grid; }
    AlbumArtworkLoader* artworkLoader() const { return m_loader; }

signals:
    void albumActivated(const AlbumGroup& group);

private:
    void regroup();

    QList<Track> m_tracks;
    AlbumSortOption m_sortOption = AlbumSortOption::artist;
    AlbumArtworkLoader* m_loader;
    AlbumGridModel* m_model;
    QComboBox* m_sortPicker;
    QListView* m_grid;
};
