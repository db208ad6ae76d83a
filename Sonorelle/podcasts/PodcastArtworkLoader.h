#pragma once

#include <QCoro/QCoroTask>
#include <QHash>
#include <QImage>
#include <QObject>
#include <QSet>
#include <QUrl>

// Podcast covers from their web addresses, fetched and decoded away from the list and kept
// for the life of the screen: a row asks, shows its placeholder, and is told when to ask again.
class PodcastArtworkLoader : public QObject {
    Q_OBJECT

public:
    explicit PodcastArtworkLoader(int side, QObject* parent = nullptr);

    // The cover when it is ready; otherwise a null image, and a fetch is started once.
    QImage cover(const QUrl& url);
    // While a fetch is under way.
    bool isLoading() const { return !m_loading.isEmpty(); }

signals:
    void coverReady(const QUrl& url);

private:
    QCoro::Task<> load(QUrl url);

    int m_side;
    QHash<QUrl, QImage> m_covers; // a null image for an address that gave no picture
    QSet<QUrl> m_loading;
};
