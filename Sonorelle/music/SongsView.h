#pragma once

#include "SongsTableModel.h"
#include "widgets/TextPrompt.h"

#include <QWidget>

#include <optional>

class Library;
class QTableView;

// The table of songs: sortable, multi-selecting; the first selected track in table order
// drives the detail column.
class SongsView : public QWidget {
    Q_OBJECT

public:
    SongsView(Library& library, TextPrompt prompt = promptWithDialog, QWidget* parent = nullptr);

    void setRows(TrackTextIndex* index, QList<qsizetype> rows);

    QTableView* table() const { return m_table; }
    SongsTableModel* model() const { return m_model; }
    // The ids of the selected rows, in table order.
    QList<QUuid> selectedTrackIDs() const;
    // The context menu for the current selection; empty when nothing is selected.
    void fillContextMenu(QMenu& menu);

signals:
    void selectedTrackChanged(const std::optional<Track>& track);

private:
    void selectionDidChange();

    Library& m_library;
    TextPrompt m_prompt;
    SongsTableModel* m_model;
    QTableView* m_table;
    std::optional<QUuid> m_selected;
    bool m_refreshing = false;
};
