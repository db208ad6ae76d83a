#pragma once

#include "library/Track.h"
#include "widgets/SaveFilePicker.h"
#include "widgets/TextPrompt.h"

#include <QUuid>
#include <QWidget>

#include <optional>

class Library;
class PlaceholderView;
class PlaylistHeader;
class PlaylistTracksTable;
class QMenu;
class QStackedWidget;
class TrackChangeFollower;

// A regular playlist: its header, its rows in playlist order, which can be dragged into a new
// order, and its empty state. Reads everything from the library, so every change shows at once.
class PlaylistDetailView : public QWidget {
    Q_OBJECT

public:
    PlaylistDetailView(Library& library, const QUuid& playlistID, TextPrompt prompt = promptWithDialog,
                       SaveFilePicker savePicker = chooseSaveFileWithDialog, QWidget* parent = nullptr);

    const QUuid& playlistID() const { return m_playlistID; }
    PlaylistHeader* header() const { return m_header; }
    PlaylistTracksTable* table() const { return m_table; }
    bool showsEmptyState() const;

    // "Rename Playlist": a blank name changes nothing.
    void rename();
    // "Export M3U8…"; a failure is shown in the header.
    void exportFile();
    // The menu of one row: "Remove from Playlist", then the entries every track list offers.
    void fillRowMenu(QMenu& menu, int row);
    void clearSelectedTrack();
    // Reads the playlist and its tracks again now.
    void refresh();

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

private:
    Library& m_library;
    QUuid m_playlistID;
    TextPrompt m_prompt;
    SaveFilePicker m_savePicker;
    PlaylistHeader* m_header;
    PlaylistTracksTable* m_table;
    PlaceholderView* m_empty;
    QStackedWidget* m_body;
    TrackChangeFollower* m_follower;
};
