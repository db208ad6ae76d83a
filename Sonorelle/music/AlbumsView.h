#pragma once

#include "AlbumGroup.h"
#include "AlbumRefetchSheet.h"

#include <QCoro/QCoroTask>
#include <QPointer>
#include <QTimer>
#include <QWidget>

#include <memory>
#include <optional>

class AlbumArtworkLoader;
class AlbumGridModel;
class Library;
class QComboBox;
class QListView;
class QMenu;
class StatusToast;

// The grid of albums with its "Sort by" picker. Activating a tile chooses its album; its
// context menu re-fetches the album's information, and a toast tells how that went.
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

    // The menu of the tile at `index`: "Re-fetch Album Info…", and "Look Up Again" for an
    // album whose tracks carry the disc ID they were ripped from.
    std::unique_ptr<QMenu> contextMenu(const QModelIndex& index);
    // Asks MusicBrainz for the album's disc again; its sentence comes back as refetchStatus.
    QCoro::Task<> lookUpAgain(AlbumGroup album);
    // Opens the re-fetch sheet for the album; its sentence comes back as refetchStatus.
    void showRefetchSheet(const AlbumGroup& album);
    AlbumRefetchSheet* refetchSheet() const { return m_refetchSheet; }
    const std::optional<AlbumGroup>& refetchTarget() const { return m_refetchTarget; }
    const std::optional<QString>& refetchStatus() const { return m_refetchStatus; }
    StatusToast* toast() const { return m_toast; }

signals:
    void albumActivated(const AlbumGroup& group);

private:
    void regroup();
    void setRefetchStatus(const std::optional<QString>& status);

    Library& m_library;
    QList<Track> m_tracks;
    AlbumSortOption m_sortOption = AlbumSortOption::artist;
    AlbumArtworkLoader* m_loader;
    AlbumGridModel* m_model;
    QComboBox* m_sortPicker;
    QListView* m_grid;
    std::optional<AlbumGroup> m_refetchTarget;
    QPointer<AlbumRefetchSheet> m_refetchSheet;
    std::optional<QString> m_refetchStatus;
    StatusToast* m_toast;
    QTimer m_toastTimer;
};
