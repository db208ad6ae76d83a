#pragma once

#include "PlaylistTracksModel.h"

#include <QTreeView>

#include <optional>

// The rows of a playlist page. The selected row's track drives the window's detail column,
// and the selection follows its track when the rows are read again.
class PlaylistTracksTable : public QTreeView {
    Q_OBJECT

public:
    // A reorderable table shows positions and lets rows be dragged (see PlaylistTracksModel).
    PlaylistTracksTable(bool reorderable, QWidget* parent = nullptr);

    PlaylistTracksModel* tracksModel() const { return m_model; }
    void setRows(QList<PlaylistTrackRow> rows);
    void clearSelectedTrack();

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

private:
    void selectionDidChange();

    PlaylistTracksModel* m_model;
    std::optional<QUuid> m_selected;
};
