#pragma once

#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"

#include <QWidget>

class Library;
class PodcastArtworkLoader;
class QLabel;
class QPushButton;

// A feed read but not yet subscribed to: its cover, title and description and its first
// episodes, with the one button that subscribes.
class PodcastPreviewPanel : public QWidget {
    Q_OBJECT

public:
    // At most this many episodes are previewed, in feed order.
    static constexpr qsizetype previewCount = 5;

    PodcastPreviewPanel(Library& library, const Podcast& podcast, const QList<Episode>& episodes,
                        PodcastArtworkLoader* artwork, QWidget* parent = nullptr);

    const Podcast& podcast() const { return m_podcast; }
    const QList<Episode>& previewEpisodes() const { return m_previewEpisodes; }
    QPushButton* subscribeButton() const { return m_subscribe; }
    // Exact address equality: a trailing slash makes another feed.
    bool isSubscribed() const;

signals:
    void subscribeRequested(const QUrl& feedURL);

private:
    void showCover();
    void showSubscribed();

    Library& m_library;
    Podcast m_podcast;
    QList<Episode> m_previewEpisodes;
    PodcastArtworkLoader* m_artwork;
    QLabel* m_cover;
    QPushButton* m_subscribe;
};
