#pragma once

#include "PlaylistPage.h"

#include <QPointer>
#include <QUuid>

class SmartPlaylistEditorSheet;

// A smart playlist: its matches in library order, worked out again at each change of the
// library. The pencil edits its filters in the editor sheet. Rows have no positions and stay
// in their order.
class SmartPlaylistDetailView : public PlaylistPage {
    Q_OBJECT

public:
    SmartPlaylistDetailView(Library& library, const QUuid& smartPlaylistID,
                            SaveFilePicker savePicker = chooseSaveFileWithDialog, QWidget* parent = nullptr);

    const QUuid& smartPlaylistID() const { return m_smartPlaylistID; }
    // The sheet while it is open.
    SmartPlaylistEditorSheet* editorSheet() const;

    // Opens the editor sheet on a copy; a saved result updates the smart playlist.
    void edit();
    void exportFile() override;
    void refresh() override;

private:
    QUuid m_smartPlaylistID;
    QPointer<SmartPlaylistEditorSheet> m_sheet;
};
