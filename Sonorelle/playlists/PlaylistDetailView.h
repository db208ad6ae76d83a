#pragma once

#include "PlaylistPage.h"
#include "widgets/TextPrompt.h"

#include <QUuid>

class QMenu;

// A regular playlist: its rows in playlist order, which can be dragged into a new order,
// renaming, and removing a track from it.
class PlaylistDetailView : public PlaylistPage {
    Q_OBJECT

public:
    PlaylistDetailView(Library& library, const QUuid& playlistID, TextPrompt prompt = promptWithDialog,
                       SaveFilePicker savePicker = chooseSaveFileWithDialog, QWidget* parent = nullptr);

    const QUuid& playlistID() const { return m_playlistID; }

    // "Rename Playlist": a blank name changes nothing.
    void rename();
    void exportFile() override;
    // The menu of one row: "Remove from Playlist", then the entries every track list offers.
    void fillRowMenu(QMenu& menu, int row);
    void refresh() override;

private:
    QUuid m_playlistID;
    TextPrompt m_prompt;
};
