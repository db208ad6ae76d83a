#pragma once

#include "PodcastDisplay.h"
#include "PodcastSyncSettingsSheet.h"
#include "podcasts/Episode.h"

#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class EpisodeRow;
class Library;
class PlaceholderView;
class PodcastArtworkLoader;
class QButtonGroup;
class QLabel;
class QListWidget;
class QPushButton;
class QStackedWidget;

// The episodes of one podcast, newest first, under a header with its cover, counts and the
// time of its last refresh.
class EpisodeListView : public QWidget {
    Q_OBJECT

public:
    using EpisodeFilter = PodcastDisplay::EpisodeFilter;

    EpisodeListView(Library& library, const QUuid& podcastID, PodcastArtworkLoader* artwork,
                    QWidget* parent = nullptr);

    const QUuid& podcastID() const { return m_podcastID; }
    EpisodeFilter filter() const { return m_filter; }
    void setFilter(EpisodeFilter filter);
    const std::optional<Episode>& selectedEpisode() const { return m_selectedEpisode; }
    void setSelectedEpisode(const QUuid& id);
    // Deselects the row without telling anyone.
    void clearSelection();

    QString titleText() const;
    // "12 episodes", and "Updated … ago" when the podcast has been fetched.
    QString countText() const;
    QString updatedText() const;
    QListWidget* list() const { return m_list; }
    EpisodeRow* rowAt(int index) const;
    // The empty state's title, or nothing while rows show.
    QString emptyTitle() const;
    QString emptyMessage() const;
    QPushButton* syncSettingsButton() const { return m_syncSettings; }
    // The settings sheet while it is open.
    PodcastSyncSettingsSheet* syncSettingsSheet() const { return m_sheet; }

    // Reads the podcast and its episodes again now.
    void refresh();

signals:
    void selectedEpisodeChanged(const std::optional<Episode>& episode);

private:
    void fillHeader();
    void fillList();
    void updateProgress();
    void openSyncSettings();

    Library& m_library;
    QUuid m_podcastID;
    PodcastArtworkLoader* m_artwork;
    EpisodeFilter m_filter = EpisodeFilter::all;
    std::optional<Episode> m_selectedEpisode;
    bool m_refreshQueued = false;
    QLabel* m_cover;
    QLabel* m_title;
    QLabel* m_count;
    QLabel* m_updated;
    QPushButton* m_syncSettings;
    QButtonGroup* m_filterButtons;
    QListWidget* m_list;
    PlaceholderView* m_empty = nullptr;
    QStackedWidget* m_stack;
    QPointer<PodcastSyncSettingsSheet> m_sheet;
};
