#pragma once

#include "library/Track.h"
#include "widgets/SaveFilePicker.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class Library;
class PlaceholderView;
class PlaylistHeader;
class PlaylistTracksTable;
class QStackedWidget;
class SmartPlaylistEditorSheet;
class TrackChangeFollower;

// A smart playlist: its header and its matches in library order, worked out again at each
// change of the library. The pencil edits its filters in the editor sheet.
class SmartPlaylistDetailView : public QWidget {
    Q_OBJECT

public:
    SmartPlaylistDetailView(Library& library, const QUuid& smartPlaylistID,
                            SaveFilePicker savePicker = chooseSaveFileWithDialog, QWidget* parent = nullptr);

    const QUuid& smartPlaylistID() const { return m_smartPlaylistID; }
    PlaylistHeader* header() const { return m_header; }
    PlaylistTracksTable* table() const { return m_table; }
    bool showsEmptyState() const;
    // The sheet while it is open.
    SmartPlaylistEditorSheet* editorSheet() const;

    // Opens the editor sheet on a copy; a saved result updates the smart playlist.
    void edit();
    // "Export M3U8…"; a failure is shown in the header.
    void exportFile();
    void clearSelectedTrack();
    // Works the matches out again now.
    void refresh();

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

private:
    Library& m_library;
    QUuid m_smartPlaylistID;
    SaveFilePicker m_savePicker;
    PlaylistHeader* m_header;
    PlaylistTracksTable* m_table;
    PlaceholderView* m_empty;
    QStackedWidget* m_body;
    TrackChangeFollower* m_follower;
    QPointer<SmartPlaylistEditorSheet> m_sheet;
};
