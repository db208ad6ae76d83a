#pragma once

#include "SidebarItem.h"
#include "library/Track.h"
#include "music/AlbumGroup.h"
#include "podcasts/Episode.h"
#include "widgets/FolderPicker.h"

#include <QPointer>
#include <QSet>
#include <QUuid>
#include <QWidget>

#include <functional>
#include <optional>

class CDRipController;
class DeviceDetailView;
class DeviceProfileEditorSheet;
class DeviceSyncController;
class DeviceSyncView;
class DiscMonitor;
class Library;
class LibraryMaintenanceView;
class MusicView;
class PlaylistsView;
class PodcastsView;
class QStackedWidget;
class SidebarView;
class VolumeMonitor;
struct DeviceProfile;

// The main window's three columns: sidebar, content and detail. It owns the selections that
// connect the columns and decides what each column shows.
class ContentView : public QWidget {
    Q_OBJECT

public:
    explicit ContentView(Library& library, QWidget* parent = nullptr);

    const std::optional<SidebarItem>& sidebarSelection() const { return m_sidebarSelection; }
    void setSidebarSelection(const std::optional<SidebarItem>& item);
    const std::optional<Track>& selectedTrack() const { return m_selectedTrack; }
    void setSelectedTrack(const std::optional<Track>& track);
    const std::optional<AlbumGroup>& selectedAlbum() const { return m_selectedAlbum; }
    void setSelectedAlbum(const std::optional<AlbumGroup>& album);
    const std::optional<Episode>& selectedEpisode() const { return m_selectedEpisode; }
    void setSelectedEpisode(const std::optional<Episode>& episode);

    const std::optional<QUuid>& selectedDeviceID() const { return m_selectedDeviceID; }
    void setSelectedDeviceID(const std::optional<QUuid>& id);

    // The discs whose "CD Rip" rows the sidebar shows.
    void setDiscMonitor(DiscMonitor* monitor);
    // The one rip controller, for the window's life: a rip goes on behind other screens.
    CDRipController* cdRipController() const { return m_cdRip; }
    // How a disc is ejected; tests watch it instead of running the system's tool.
    using Ejector = std::function<void(const QString& bsdName)>;
    void setEjector(Ejector ejector) { m_eject = std::move(ejector); }
    // The volumes the device screens follow and the editor offers.
    void setVolumeMonitor(VolumeMonitor* monitor);
    // How the device editor asks for folders; a dialog unless a test answers.
    void setFolderPicker(FolderPicker picker) { m_pickFolder = std::move(picker); }

    SidebarView* sidebar() const { return m_sidebar; }
    MusicView* musicView() const { return m_music; }
    PlaylistsView* playlistsView() const { return m_playlists; }
    PodcastsView* podcastsView() const { return m_podcasts; }
    DeviceSyncView* devicesView() const { return m_devices; }
    DeviceSyncController& syncController() const { return *m_syncController; }
    // Opens the device editor: for a new device without a profile. One at a time.
    DeviceProfileEditorSheet* showDeviceEditor(const std::optional<DeviceProfile>& profile);
    DeviceProfileEditorSheet* deviceEditor() const;
    // Ctrl+F: the search field of the screen on show takes the focus; a screen without one
    // keeps it where it is.
    void focusSearch();
    // What the content and detail columns show now.
    QWidget* contentColumn() const;
    QWidget* detailColumn() const;

signals:
    // Once, when the window first shows the library: the moment the live services start.
    void appeared();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* screenFor(const std::optional<SidebarItem>& item);
    void showContent();
    void showDetail();
    bool selectedEpisodeHasPodcast() const;
    void showRipProgress();
    // The disc row takes the album's title; a finished rip is remembered for showRippedAlbum.
    void nameDiscRow();
    // After "Done" or the disc's row going: Music with the album just ripped, if any.
    void showRippedAlbum();
    const DeviceProfile* selectedDevice() const;

    Library& m_library;
    std::optional<SidebarItem> m_sidebarSelection;
    std::optional<Track> m_selectedTrack;
    std::optional<AlbumGroup> m_selectedAlbum;
    QSet<QUuid> m_rippedTrackIDs;
    std::optional<Episode> m_selectedEpisode;
    std::optional<QUuid> m_selectedDeviceID;
    DeviceSyncController* m_syncController;
    VolumeMonitor* m_volumes = nullptr;
    FolderPicker m_pickFolder = chooseFolderWithDialog;
    QPointer<DeviceProfileEditorSheet> m_deviceEditor;
    SidebarView* m_sidebar;
    QStackedWidget* m_content;
    QStackedWidget* m_detail;
    MusicView* m_music;
    PlaylistsView* m_playlists;
    PodcastsView* m_podcasts;
    DeviceSyncView* m_devices;
    LibraryMaintenanceView* m_maintenance;
    QWidget* m_placeholder = nullptr;
    CDRipController* m_cdRip;
    Ejector m_eject;
    DiscMonitor* m_discMonitor = nullptr;
    std::optional<QString> m_progressShownFor;
    bool m_hasAppeared = false;
};
