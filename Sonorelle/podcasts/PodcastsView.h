#pragma once

#include "PodcastSearchSheet.h"
#include "podcasts/Episode.h"

#include <QCoro/QCoroTask>
#include <QPointer>
#include <QUuid>
#include <QWidget>

#include <optional>

class EpisodeListView;
class Library;
class PodcastArtworkLoader;
class QLineEdit;
class QListWidget;
class QMenu;
class QStackedWidget;
class QToolButton;

// The content column for podcasts: the subscriptions on the left, the episodes of the chosen
// one on the right. Choosing an episode there chooses it for the window's detail column.
class PodcastsView : public QWidget {
    Q_OBJECT

public:
    explicit PodcastsView(Library& library, QWidget* parent = nullptr);

    const std::optional<QUuid>& selectedPodcastID() const { return m_selectedPodcastID; }
    void setSelectedPodcastID(const std::optional<QUuid>& id);
    const std::optional<Episode>& selectedEpisode() const { return m_selectedEpisode; }
    // Lets go of the episode without telling the window, which has let go of it already.
    void clearSelectedEpisode();

    QLineEdit* filterField() const { return m_filter; }
    QListWidget* list() const { return m_list; }
    QToolButton* refreshAllButton() const { return m_refreshAll; }
    bool isRefreshingAll() const { return m_isRefreshingAll; }
    // The rows as "title\tcount", or the one text the list shows instead of rows.
    QStringList listTexts() const;
    // "No Podcast Selected" or the chosen podcast's episodes.
    EpisodeListView* episodeList() const { return m_episodes; }
    // "Add Podcast" while it is open.
    PodcastSearchSheet* searchSheet() const { return m_searchSheet; }

    // The menu of one row: "Refresh", "Sync Settings…", "Unsubscribe".
    void fillRowMenu(QMenu& menu, const QUuid& podcastID);
    QCoro::Task<> refreshAll();
    // Opens "Add Podcast"; a subscription made there is selected.
    void showSearchSheet();

signals:
    void selectedEpisodeChanged(const std::optional<Episode>& episode);

private:
    void fillList();
    void showEpisodes();
    void refreshOne(const QUuid& id);
    void setRefreshingAll(bool running);

    Library& m_library;
    std::optional<QUuid> m_selectedPodcastID;
    std::optional<Episode> m_selectedEpisode;
    bool m_isRefreshingAll = false;
    PodcastArtworkLoader* m_artwork;
    QLineEdit* m_filter;
    QListWidget* m_list;
    QWidget* m_noPodcasts;
    QWidget* m_noResults;
    QStackedWidget* m_listStack;
    QToolButton* m_refreshAll;
    QStackedWidget* m_refreshAllStack;
    QPointer<PodcastSearchSheet> m_searchSheet;
    QStackedWidget* m_detailStack;
    QWidget* m_noSelection;
    EpisodeListView* m_episodes = nullptr;
};
