#pragma once

#include "library/Track.h"
#include "playlists/SmartPlaylist.h"
#include "widgets/SaveFilePicker.h"
#include "widgets/TextPrompt.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class Library;
class QAction;
class QMenu;
class QStackedWidget;
class QTreeWidget;
class QTreeWidgetItem;
class SmartPlaylistEditorSheet;
class LibraryFollower;
class PlaylistPage;

// Which entry of the list is chosen.
struct PlaylistSelection {
    enum class Kind { regular, smart };

    Kind kind = Kind::regular;
    QUuid id;

    bool operator==(const PlaylistSelection&) const = default;
};

// The content column for playlists: the list of playlists and smart playlists on the left,
// the chosen one on the right. Selecting a track there selects it for the window.
class PlaylistsView : public QWidget {
    Q_OBJECT

public:
    PlaylistsView(Library& library, TextPrompt prompt = promptWithDialog,
                  SaveFilePicker savePicker = chooseSaveFileWithDialog, QWidget* parent = nullptr);

    const std::optional<PlaylistSelection>& selection() const { return m_selection; }
    void setSelection(const std::optional<PlaylistSelection>& selection);
    const std::optional<Track>& selectedTrack() const { return m_selectedTrack; }
    // Deselects the row of the selected track, without telling the window, which has let go
    // of it already.
    void clearSelectedTrack();

    QTreeWidget* list() const { return m_list; }
    // The list's rows by section: the section's title, then one "name\tcount" line per row.
    // "No playlists yet" when there is nothing.
    QStringList listTexts() const;
    // The right side: "No Playlist Selected", a PlaylistDetailView or a SmartPlaylistDetailView.
    QWidget* detail() const;
    QAction* newPlaylistAction() const { return m_newPlaylist; }
    QAction* newSmartPlaylistAction() const { return m_newSmartPlaylist; }
    // The editor of a new smart playlist while it is open.
    SmartPlaylistEditorSheet* editorSheet() const;

    // "New Playlist": asks for a name; a blank one makes nothing.
    void newPlaylist();
    // "New Smart Playlist": opens the editor sheet on a fresh draft.
    void newSmartPlaylist();
    // The menu of one row of the list.
    void fillRowMenu(QMenu& menu, const PlaylistSelection& row);
    // Reads the list and the chosen entry again now.
    void refresh();

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

private:
    void fillList();
    void showDetail();
    void listSelectionChanged();
    void trackSelected(const std::optional<Track>& track);
    void smartPlaylistEdited(const std::optional<SmartPlaylist>& edited);
    bool selectionExists() const;
    QTreeWidgetItem* itemFor(const PlaylistSelection& selection) const;

    Library& m_library;
    TextPrompt m_prompt;
    SaveFilePicker m_savePicker;
    std::optional<PlaylistSelection> m_selection;
    std::optional<Track> m_selectedTrack;
    QTreeWidget* m_list;
    QWidget* m_noPlaylists;
    QStackedWidget* m_listStack;
    QStackedWidget* m_detailStack;
    QWidget* m_noSelection;
    // The chosen entry's page; replaced when the choice changes.
    PlaylistPage* m_detail = nullptr;
    std::optional<PlaylistSelection> m_detailShows;
    QAction* m_newPlaylist;
    QAction* m_newSmartPlaylist;
    QPointer<SmartPlaylistEditorSheet> m_sheet;
    LibraryFollower* m_follower;
};
