#pragma once

#include "ArtworkCache.h"
#include "Track.h"
#include "TrackSignature.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"
#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"
#include "sync/DeviceProfile.h"

#include <QHash>
#include <QList>
#include <QObject>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <QCoro/QCoroTask>

#include <memory>

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
    ArtworkCache& artworkCache() { return m_artworkCache; }

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

    // File first: the tags are written, and only if the file took them does the entry
    // change. Throws TagWriter::WriteError. A track no longer in the library is left alone.
    QCoro::Task<> update(Track track);

    // Moves every file to its canonical place, one at a time off the main thread. A file
    // that cannot move (its place is taken, it is gone) stays where it is, silently.
    QCoro::Task<> organizeLibrary();

    // Writes every unsaved store now. Also runs when the application quits.
    void flush();

    // The operations of each subsystem follow, each group implemented beside its subsystem
    // (playlists/LibraryPlaylists.cpp, podcasts/LibraryPodcasts.cpp, ...).

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

    QUrl m_rootURL;
    ArtworkCache m_artworkCache;
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
