#include "Library.h"

#include "podcasts/EpisodeDownloader.h"
#include "podcasts/PodcastEpisodes.h"
#include "podcasts/PodcastFiles.h"
#include "podcasts/RSSParser.h"

#include <QFile>
#include <QPointer>
#include <QSet>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

template <typename T>
T* findByID(QList<T>& records, const QUuid& id)
{
    const auto found = std::find_if(records.begin(), records.end(), [&id](const T& record) { return record.id == id; });
    return found == records.end() ? nullptr : &*found;
}

// A file that cannot be removed is no reason to keep the record pointing at it.
void removeLocalFile(Episode& episode)
{
    if (episode.localURL)
        QFile::remove(episode.localURL->toLocalFile());
    episode.localURL.reset();
    episode.downloadState = DownloadState::notDownloaded;
}

} // namespace

void Library::setDownloadProgress(const QUuid& episodeID, std::optional<double> fraction)
{
    if (fraction)
        m_downloadProgress.insert(episodeID, *fraction);
    else if (!m_downloadProgress.remove(episodeID))
        return;
    emit downloadProgressChanged();
}

QCoro::Task<Podcast> Library::addPodcast(QUrl feedURL)
{
    assertMainThread();
    QPointer<Library> self(this);
    RSSParser::Feed feed = co_await RSSParser::fetch(QUuid::createUuid(), feedURL);
    if (!self)
        co_return feed.podcast;
    m_podcasts.append(feed.podcast);
    PodcastEpisodes::merge(m_episodes, feed.episodes, feed.podcast.id);
    podcastsDidChange();
    episodesDidChange();
    co_return feed.podcast;
}

QCoro::Task<> Library::refreshPodcast(QUuid id)
{
    assertMainThread();
    const Podcast* podcast = findByID(m_podcasts, id);
    if (!podcast)
        co_return;
    QPointer<Library> self(this);
    const RSSParser::Feed feed = co_await RSSParser::fetch(id, podcast->feedURL);
    // The list may have changed while the feed was read.
    Podcast* stored = self ? findByID(m_podcasts, id) : nullptr;
    if (!stored)
        co_return;
    stored->title = feed.podcast.title;
    stored->description = feed.podcast.description;
    stored->artworkURL = feed.podcast.artworkURL;
    stored->lastFetched = feed.podcast.lastFetched;
    PodcastEpisodes::merge(m_episodes, feed.episodes, id);
    podcastsDidChange();
    episodesDidChange();
    co_await applyAutoDownloadRule(id);
}

QCoro::Task<> Library::refreshAllPodcasts()
{
    assertMainThread();
    QPointer<Library> self(this);
    const QList<Podcast> snapshot = m_podcasts;
    for (const Podcast& podcast : snapshot) {
        if (!self)
            co_return;
        try {
            co_await refreshPodcast(podcast.id);
        } catch (const RSSParser::ParseError&) {
            // One unreachable feed does not hold up the others.
        }
    }
}

QCoro::Task<> Library::applyAutoDownloadRule(QUuid podcastID)
{
    const Podcast* podcast = findByID(m_podcasts, podcastID);
    if (!podcast)
        co_return;
    QPointer<Library> self(this);
    const QList<Episode> selection = PodcastEpisodes::autoDownloadSelection(
        m_episodes, podcastID, podcast->autoDownloadRule, QDateTime::currentDateTime());
    // One at a time: the sequence is the limit.
    for (const Episode& episode : selection) {
        if (!self)
            co_return;
        try {
            co_await downloadEpisode(episode.id);
        } catch (const EpisodeDownloader::DownloadError&) {
            // The episode is marked failed, and is not retried by itself.
        }
    }
}

QCoro::Task<> Library::downloadEpisode(QUuid episodeID)
{
    assertMainThread();
    Episode* episode = findByID(m_episodes, episodeID);
    if (!episode)
        co_return;
    const Podcast* podcast = findByID(m_podcasts, episode->podcastID);
    const QString folder = PodcastFiles::podcastFolder(m_rootURL, podcast ? podcast->title : u"Unknown Podcast"_s);

    // Another episode of the same title keeps its file; this one takes the next free name.
    QSet<QString> taken;
    for (const Episode& other : std::as_const(m_episodes)) {
        if (other.id != episodeID && other.localURL)
            taken.insert(other.localURL->toLocalFile());
    }

    episode->downloadState = DownloadState::downloading;
    const Episode copy = *episode;
    episodesDidChange();

    QPointer<Library> self(this);
    const auto onProgress = [self, episodeID](double fraction) {
        if (self)
            self->setDownloadProgress(episodeID, fraction);
    };
    std::optional<QUrl> file;
    std::optional<EpisodeDownloader::DownloadError> failure;
    try {
        file = co_await EpisodeDownloader::shared().download(copy, QUrl::fromLocalFile(folder), onProgress, taken);
    } catch (const EpisodeDownloader::DownloadError& error) {
        failure = error;
    }
    if (!self)
        co_return;

    // Found again: the list may have changed, or lost the episode, meanwhile.
    if (Episode* current = findByID(m_episodes, episodeID)) {
        if (file) {
            // This download may have taken a name freed since the last one; the episode's older
            // file would otherwise be left behind, unless another episode names it too.
            const std::optional<QUrl> earlier = current->localURL;
            const bool namedByAnother = std::any_of(m_episodes.cbegin(), m_episodes.cend(), [&](const Episode& other) {
                return other.id != episodeID && other.localURL == earlier;
            });
            if (earlier && *earlier != *file && !namedByAnother)
                QFile::remove(earlier->toLocalFile());
            current->localURL = file;
            current->downloadState = DownloadState::downloaded;
        } else {
            current->downloadState = DownloadState::failed;
        }
    }
    setDownloadProgress(episodeID, std::nullopt);
    episodesDidChange();
    if (failure)
        throw *failure;
}

void Library::deletePodcast(const QUuid& id)
{
    assertMainThread();
    m_podcasts.removeIf([&id](const Podcast& podcast) { return podcast.id == id; });
    m_episodes.removeIf([&id](const Episode& episode) {
        if (episode.podcastID != id)
            return false;
        if (episode.localURL)
            QFile::remove(episode.localURL->toLocalFile());
        return true;
    });
    podcastsDidChange();
    episodesDidChange();
}

void Library::markPlayed(const QUuid& episodeID, bool played)
{
    assertMainThread();
    Episode* episode = findByID(m_episodes, episodeID);
    if (!episode)
        return;
    episode->isPlayed = played;
    if (played && episode->localURL)
        removeLocalFile(*episode);
    episodesDidChange();
}

void Library::deleteLocalFile(const QUuid& episodeID)
{
    assertMainThread();
    Episode* episode = findByID(m_episodes, episodeID);
    if (!episode || episode->downloadState != DownloadState::downloaded)
        return;
    removeLocalFile(*episode);
    episodesDidChange();
}

void Library::updatePodcastAutoDownload(const QUuid& id, const PodcastAutoDownloadRule& rule)
{
    assertMainThread();
    Podcast* podcast = findByID(m_podcasts, id);
    if (!podcast)
        return;
    podcast->autoDownloadRule = rule;
    podcastsDidChange();
}

QList<Episode> Library::episodes(const QUuid& podcastID) const
{
    assertMainThread();
    QList<Episode> result;
    for (const Episode& episode : m_episodes) {
        if (episode.podcastID == podcastID)
            result.append(episode);
    }
    PodcastEpisodes::sortNewestFirst(result);
    return result;
}
