#pragma once

#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"

#include <QCoro/QCoroTask>
#include <QScrollArea>

class Library;
class QCheckBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QStackedWidget;

// One episode in the detail column: its texts, the "Played" switch, the download section and
// the show notes as plain text with their links. It follows the live record.
class EpisodeDetailView : public QScrollArea {
    Q_OBJECT

public:
    EpisodeDetailView(Library& library, const Episode& episode, const Podcast& podcast, QWidget* parent = nullptr);

    const Episode& episode() const { return m_episode; }
    QString titleText() const;
    QString podcastText() const;
    QString dateText() const;
    QCheckBox* playedSwitch() const { return m_played; }
    // The download section's page now showing.
    QWidget* downloadSection() const;
    QPushButton* downloadButton() const { return m_download; }
    QPushButton* deleteButton() const { return m_delete; }
    QPushButton* retryButton() const { return m_retry; }
    QProgressBar* progressBar() const { return m_progress; }
    // The notes as shown, rich text of lines and links; empty until they are read.
    QString notesText() const;

    void refresh();

private:
    QCoro::Task<> showNotes(QString description);

    Library& m_library;
    Episode m_episode;
    QLabel* m_title;
    QLabel* m_podcast;
    QLabel* m_date;
    QCheckBox* m_played;
    QStackedWidget* m_section;
    QPushButton* m_download;
    QWidget* m_downloading;
    QProgressBar* m_progress;
    QWidget* m_downloaded;
    QPushButton* m_delete;
    QPushButton* m_retry;
    QLabel* m_notes;
};
