#pragma once

#include "podcasts/Episode.h"

#include <QWidget>

class CircularProgress;
class Library;
class QLabel;
class QMenu;
class QStackedWidget;
class QToolButton;

// One episode in the list: the played dot, title, date and duration, and the control of its
// download state.
class EpisodeRow : public QWidget {
    Q_OBJECT

public:
    EpisodeRow(Library& library, const Episode& episode, QWidget* parent = nullptr);

    const Episode& episode() const { return m_episode; }
    // Reads the live record and its progress again.
    void refresh();

    // "Mark as Played" or "Mark as Unplayed"; "Delete file" only for a downloaded episode.
    void fillMenu(QMenu& menu);

    QString dateText() const;
    // The control showing now: the download or retry button, the ring, or the mark.
    QWidget* statusControl() const;
    CircularProgress* progressRing() const { return m_ring; }
    QToolButton* downloadButton() const { return m_download; }
    QToolButton* retryButton() const { return m_retry; }

protected:
    void contextMenuEvent(QContextMenuEvent* event) override;

private:
    void download();

    Library& m_library;
    Episode m_episode;
    QLabel* m_dot;
    QLabel* m_title;
    QLabel* m_date;
    QStackedWidget* m_status;
    QToolButton* m_download;
    CircularProgress* m_ring;
    QLabel* m_downloaded;
    QToolButton* m_retry;
};

// Starts a download whose failure the episode's state reports by itself.
void downloadDroppingError(Library& library, const QUuid& episodeID);
// The live record of an episode, or the given one when the library no longer holds it.
Episode liveEpisode(const Library& library, const Episode& given);
