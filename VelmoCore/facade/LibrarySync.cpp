// The sync operations of Library.
#include "Library.h"

#include "library/Background.h"
#include "sync/PodcastSyncer.h"

QList<Episode> Library::episodesToSync(const Podcast& podcast, const DeviceProfile& profile) const
{
    assertMainThread();
    if (!profile.podcastConfigs.value(podcast.id, {.enabled = true}).enabled)
        return {};
    return PodcastSyncer::episodesToSync(podcast, m_episodes);
}

QList<SyncDiff::PodcastEpisodes> Library::podcastsToSync(const DeviceProfile& profile) const
{
    assertMainThread();
    QList<SyncDiff::PodcastEpisodes> pairs;
    for (const Podcast& podcast : m_podcasts) {
        QList<Episode> episodes = episodesToSync(podcast, profile);
        if (!episodes.isEmpty())
            pairs.append({podcast, std::move(episodes)});
    }
    return pairs;
}

QCoro::Task<> Library::syncPodcastsToDevice(QString rootPath, DeviceProfile profile)
{
    assertMainThread();
    const auto job = [pairs = podcastsToSync(profile), root = QUrl::fromLocalFile(rootPath),
                      folder = profile.podcastsFolder] { PodcastSyncer::sync(pairs, root, folder); };
    co_await Background::run(job);
}

QCoro::Task<> Library::sync(DeviceProfile profile, SyncEngine::ProgressHandler onProgress)
{
    assertMainThread();
    const QList<Track> tracks = m_tracks;
    const QList<Playlist> playlists = m_playlists;
    const QList<SmartPlaylist> smartPlaylists = m_smartPlaylists;
    const QUrl root = m_rootURL;
    // The diff walks the device, which may be slow; the window stays responsive meanwhile.
    const auto measure = [tracks, playlists, smartPlaylists, profile, root] {
        return SyncDiff::compute(tracks, playlists, smartPlaylists, profile, root, {},
                                 SyncDiff::nameRulesAt(profile.rootPath));
    };
    SyncDiff diff = co_await Background::run(measure);
    co_await SyncEngine::shared().sync(std::move(diff), profile, playlists, smartPlaylists, tracks, root,
                                       std::move(onProgress));
    if (profile.syncPodcasts)
        co_await syncPodcastsToDevice(profile.rootPath, profile);
}
