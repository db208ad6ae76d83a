#pragma once

#include "AlbumGroup.h"
#include "widgets/TextPrompt.h"

#include <QWidget>

class ArtworkView;
class Library;
class QTreeWidget;

// The detail column for an album: its header and its tracks. A click highlights a row; a
// double click opens the track.
class AlbumDetailView : public QWidget {
    Q_OBJECT

public:
    AlbumDetailView(Library& library, const AlbumGroup& group, TextPrompt prompt = promptWithDialog,
                    QWidget* parent = nullptr);

    const AlbumGroup& group() const { return m_group; }
    QTreeWidget* rows() const { return m_rows; }

signals:
    void trackActivated(const Track& track);

private:
    Library& m_library;
    AlbumGroup m_group;
    TextPrompt m_prompt;
    ArtworkView* m_artwork;
    QTreeWidget* m_rows;
};
