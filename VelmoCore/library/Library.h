#pragma once

#include "Track.h"
#include "TrackSignature.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"
#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"
#include "podcasts/PodcastAutoDownloadRule.h"
#include "sync/DeviceProfile.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QList>
#include <QObject>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <memory>
#include <optional>

class StoreWriter;

// The one live model: every list the screens show and every store on disk. It lives on the
// main thread; background work takes value copies and hands values back, and each change
// is announced by the list's signal. A mutation changes the list at once and saves its store
// within a quarter of a second.
class Library : public QObject {
    Q_OBJECT

public:
    // Reads all five stores; a missing or corrupt store is an empty list, silently. Never writes.
    explicit Library(const QUrl& rootURL, QObject* parent = nullptr);
    ~Library() override;

    const QUrl& rootURL() const { return m_rootURL; }

    const QList<Track>& tracks() const { return m_tracks; }
    const QList<Playlist>& playlists() const { return m_playlists; }
    const QList<SmartPlaylist>& smartPlaylists() const { return m_smartPlaylists; }
    const QList<DeviceProfile>& deviceProfiles() const { return m_deviceProfiles; }
    const QList<Podcast>& podcasts() const { return m_podcasts; }
    const QList<Episode>& episodes() const { return m_episodes; }
    // Episode id to the fraction downloaded; never stored.
    const QHash<QUuid, double>& downloadProgress() const { return m_downloadProgress; }

    void add(const Track& track);
    // For the rip pipeline: a re-rip of a song already here keeps its id, dateAdded and
    // custom tags. Returns the record actually stored.
    Track upsertRippedTrack(const Track& track);
    // The tracks, in library order, that some signature matches (text and 2-second rule).
    QList<Track> tracksMatching(const QList<TrackSignature>& signatures) const;
    // Only the entry goes: the file stays, and playlists keep the id until pruned.
    void remove(const QUuid& id);

    // Writes every unsaved store now. Also runs when the application quits.
    void flush();

    // The operations of each subsystem follow, each group implemented beside its subsystem
    // (playlists/LibraryPlaylists.cpp, podcasts/LibraryPodcasts.cpp, ...).

    // Podcasts (podcasts/LibraryPodcasts.cpp). The asynchronous ones give up the main thread
    // only while they wait for the network, and find their records again by id afterwards.

    // Subscribes: reads the feed and appends the podcast with its episodes. Throws
    // RSSParser::ParseError, and then nothing has changed. No check for an existing
    // subscription to the same address.
    QCoro::Task<Podcast> addPodcast(QUrl feedURL);
    // Reads the feed again: the podcast takes the feed's title, description and artwork, the
    // episodes are merged, and the auto-download rule runs to its end. Throws ParseError and
    // leaves everything as it was. An unknown id, or a podcast deleted meanwhile, is no error.
    QCoro::Task<> refreshPodcast(QUuid id);
    // Each podcast in turn; the failure of one is dropped and the next goes on.
    QCoro::Task<> refreshAllPodcasts();
    // Unsubscribes and removes the downloaded files; the podcast's folder stays.
    void deletePodcast(const QUuid& id);
    // Marking played frees the space: the file goes and the episode may be fetched again.
    void markPlayed(const QUuid& episodeID, bool played);
    // Removes the file of a downloaded episode; anything else is left alone.
    void deleteLocalFile(const QUuid& episodeID);
    // Takes effect at the next refresh.
    void updatePodcastAutoDownload(const QUuid& id, const PodcastAutoDownloadRule& rule);
    // The podcast's episodes, newest first.
    QList<Episode> episodes(const QUuid& podcastID) const;
    // Fetches the enclosure into root/Podcasts/<podcast>/ while the episode is `downloading`
    // and its fraction is in downloadProgress; it ends `downloaded` with its file, or `failed`
    // and the EpisodeDownloader::DownloadError is thrown. An unknown id does nothing.
    QCoro::Task<> downloadEpisode(QUuid episodeID);

signals:
    void tracksChanged();
    void playlistsChanged();
    void smartPlaylistsChanged();
    void deviceProfilesChanged();
    void podcastsChanged();
    void episodesChanged();
    void downloadProgressChanged();

private:
    // Every operation runs on the thread that owns the library.
    void assertMainThread() const { Q_ASSERT(QThread::currentThread() == thread()); }

    // Each mutation ends with one of these: the change is announced and its store saved.
    void tracksDidChange();
    void playlistsDidChange();
    void smartPlaylistsDidChange();
    void deviceProfilesDidChange();
    void podcastsDidChange();
    void episodesDidChange();
    // Progress of a transfer; none removes the entry.
    void setDownloadProgress(const QUuid& episodeID, std::optional<double> fraction);

    // One episode after another, the errors dropped; a refresh ends when they have.
    QCoro::Task<> applyAutoDownloadRule(QUuid podcastID);

    QUrl m_rootURL;
    QList<Track> m_tracks;
    QList<Playlist> m_playlists;
    QList<SmartPlaylist> m_smartPlaylists;
    QList<DeviceProfile> m_deviceProfiles;
    QList<Podcast> m_podcasts;
    QList<Episode> m_episodes;
    QHash<QUuid, double> m_downloadProgress;

    // Declared after the lists, so that they go first and their final flush still sees them.
    std::unique_ptr<StoreWriter> m_tracksWriter;
    std::unique_ptr<StoreWriter> m_playlistsWriter;
    std::unique_ptr<StoreWriter> m_smartPlaylistsWriter;
    std::unique_ptr<StoreWriter> m_deviceProfilesWriter;
    std::unique_ptr<StoreWriter> m_podcastsWriter;
};
