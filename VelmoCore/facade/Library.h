#pragma once

#include "library/ArtworkCache.h"
#include "library/DuplicateFinder.h"
#include "library/ReplayGain.h"
#include "library/ReconcileReport.h"
#include "library/StoreLocations.h"
#include "library/Track.h"
#include "library/TrackSignature.h"
#include "metadata/ArtworkFetcher.h"
#include "metadata/MetadataHTTPClient.h"
#include "metadata/ReleaseCandidate.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"
#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"
#include "podcasts/PodcastAutoDownloadRule.h"
#include "sync/DeviceProfile.h"
#include "sync/SyncDiff.h"
#include "sync/SyncEngine.h"

#include <QCoro/QCoroTask>
#include <QHash>
#include <QList>
#include <QObject>
#include <QSet>
#include <QStringList>
#include <QThread>
#include <QUrl>
#include <QUuid>

#include <QCoro/QCoroTask>

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>

class FolderWatcher;
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
    // custom tags. The entry it takes over is the one of the same disc and position, else one
    // whose signature matches and that is not another track of that disc (the one at the same
    // position first); never one of `sameRip`, the entries the rip in progress has made.
    // Returns the record actually stored.
    Track upsertRippedTrack(const Track& track, const QSet<QUuid>& sameRip = {});
    // The tracks, in library order, that some signature matches (text and 2-second rule).
    QList<Track> tracksMatching(const QList<TrackSignature>& signatures) const;
    // Only the entry goes: the file stays, and playlists keep the id until pruned.
    void remove(const QUuid& id);

    // File first: the tags are written, and only if the file took them does the entry
    // change. Throws TagWriter::WriteError. A track no longer in the library is left alone.
    QCoro::Task<> update(Track track);

    // What organizeLibrary did: each track moved (as it now is), each that could not move and
    // why. The screen shows neither; the command line prints both.
    struct OrganizeReport {
        QList<std::pair<Track, Track>> moved; // before and after
        QList<std::pair<Track, QString>> failed;
    };

    // Moves every file to its canonical place, one at a time off the main thread. A file
    // that cannot move (its place is taken, it is gone) stays where it is.
    QCoro::Task<OrganizeReport> organizeLibrary();

    // Scan and reconcile (library/LibraryScan.cpp).

    // A fresh Track for each readable audio file below the folder, in the order of the walk;
    // an empty list for a folder that does not exist. Blocking.
    static QList<Track> scanFolder(const QUrl& folder);
    // Its two halves. The audio files below a folder, in the order of the walk: hidden
    // entries and symbolic links are passed over, so a link back up the tree is no loop.
    static QStringList audioFilesBelow(const QUrl& folder);
    // A fresh Track for each file that reads, in the given order; a file that has gone or
    // does not read is passed over, and named in `unreadable` when one is given. Tags are
    // read in parallel.
    static QList<Track> readTracks(const QStringList& files, QStringList* unreadable = nullptr);
    // Scans the library folder and merges what it finds into the catalogue, keeping every
    // entry's identity through moves and renames. Missing files leave the catalogue only
    // with `applyRemovals`, and only when no playlist uses them.
    QCoro::Task<ReconcileReport> reconcile(bool applyRemovals);
    // Follows changes to the library folder live, about a second after they happen: a file
    // renamed or moved outside the program keeps its entry. A second start does nothing.
    void startWatching();
    void stopWatching();
    bool isWatching() const { return m_watcher != nullptr; }

    // Writes every unsaved store now. Also runs when the application quits.
    void flush();
    // One sentence per store whose last write failed (full disk, no permission), naming the
    // file and why; that file still holds what it held before. Empty when all went well.
    QStringList saveFailures() const;

    // The stores that were on disk but could not be read when the library was made; each
    // is an empty list here, and its next save would replace the file.
    struct UnreadableStore {
        StoreKind kind;
        QString path;
        QString problem;
    };
    const QList<UnreadableStore>& unreadableStores() const { return m_unreadableStores; }

    // The stores that held an id in more than one record when the library was made; each list
    // here keeps the first record of such an id, and its next save leaves the others out.
    struct RepeatedIDs {
        StoreKind kind;
        QString path;
        QStringList ids;
    };
    const QList<RepeatedIDs>& storesWithRepeatedIDs() const { return m_storesWithRepeatedIDs; }

    // Acoustic duplicates (library/LibraryDuplicates.cpp).

    // Groups of two or more tracks that sound alike, sorted by the first one's title: every
    // file decoded and every pair compared.
    QCoro::Task<QList<QList<Track>>> findDuplicates(float threshold);
    // The same at library scale: fingerprints kept in the cache beside library.json unless the
    // search names another, pairs indexed unless it asks for all. Nothing when cancelled.
    QCoro::Task<std::optional<QList<QList<Track>>>> findDuplicates(DuplicateFinder::Search search);
    // Moves the track's file to the desktop trash; then the entry leaves the catalogue and every
    // playlist, as a scan would remove it. Throws TrashError, and then nothing has changed.
    class TrashError : public std::runtime_error {
    public:
        explicit TrashError(const QString& message) : std::runtime_error(message.toStdString()), m_message(message) {}
        QString message() const { return m_message; }

    private:
        QString m_message;
    };
    void moveToTrash(const QUuid& trackID);

    // Loudness (facade/LibraryLoudness.cpp).

    struct LoudnessOptions {
        // Analyse tracks whose files carry ReplayGain tags already.
        bool force = false;
        // Tracks measured at once; 0 for one per core.
        int jobs = 0;
        // Set from anywhere to stop after the album in progress; that album is left untagged.
        std::shared_ptr<std::atomic_bool> cancel;
    };
    struct LoudnessProgress {
        qsizetype tracksDone = 0;
        qsizetype trackCount = 0;
    };
    using LoudnessProgressHandler = std::function<void(const LoudnessProgress&)>;
    struct LoudnessSummary {
        QList<std::pair<Track, ReplayGain::Values>> tagged; // the entries as they now are
        QList<Track> skipped;                              // tagged already
        QList<std::pair<Track, QString>> failed;           // did not decode or took no tags; why
        qsizetype albumCount = 0;                          // albums measured
        bool cancelled = false;

        // "Tagged 12 tracks of 1 album; 3 already tagged; 1 could not be analysed."
        QString message() const;
    };

    // Measures the tracks album by album (an album's tracks at once, one per core), writes
    // each file's ReplayGain tags and then its entry's gains. The rest of each album they
    // belong to is measured with them, in library order. An album whose every file carries
    // its gains is passed over unless forced; a file that does not decode is reported and
    // left untagged. Tracks not in the library are passed over.
    QCoro::Task<LoudnessSummary> analyseLoudness(QList<Track> tracks, LoudnessOptions options,
                                                 LoudnessProgressHandler onProgress = {});

    // The operations of each subsystem follow, each group implemented beside its subsystem
    // (playlists/LibraryPlaylists.cpp, podcasts/LibraryPodcasts.cpp, ...).

    // Playlists (playlists/LibraryPlaylists.cpp). A change to a playlist's entries or name
    // sets its dateModified; looking, exporting and an addTrack of an id already there do
    // not. An unknown playlist id changes nothing.

    // No check of the name: names need not be unique and are not cleaned.
    Playlist createPlaylist(const QString& name);
    // Removes every playlist with that id.
    void deletePlaylist(const QUuid& id);
    // Replaces the playlist of the same id whole; how a playlist is renamed.
    void updatePlaylist(const Playlist& playlist);
    // Appends the track unless the playlist holds it already.
    void addTrack(const QUuid& trackID, const QUuid& to);
    // By position, not by id; a position outside the list does nothing.
    void removeTrack(qsizetype at, const QUuid& from);
    // Takes the entries at the positions `from` out and puts them back as one block, in
    // their order, at min(to, remaining count). `to` counts in the list after removal and
    // is deliberately not corrected for removed entries before it: moving the first of
    // A B C D to 2 gives B C A D, as a drag hands it over. Positions outside the list are
    // ignored.
    void moveTrack(const QUuid& in, const QSet<qsizetype>& from, qsizetype to);
    // Drops from every playlist the ids that name no track. Saves only if something went.
    void prunePlaylistReferences();
    // The playlist's tracks in its order; ids with no track are skipped, so this may be
    // shorter than trackIDs.
    QList<Track> resolve(const Playlist& playlist) const;
    // Writes the playlist's M3U file; an unknown id writes nothing. Throws
    // PlaylistExporter::ExportError.
    void exportPlaylist(const QUuid& id, const QUrl& to, bool relativePaths) const;

    // Smart playlists (playlists/LibraryPlaylists.cpp).
    void addSmartPlaylist(const SmartPlaylist& smartPlaylist);
    SmartPlaylist createSmartPlaylist(const QString& name);
    void deleteSmartPlaylist(const QUuid& id);
    // Replaces the entry of the same id, with dateModified now.
    void updateSmartPlaylist(const SmartPlaylist& smartPlaylist);
    // The matches over all tracks, in library order.
    QList<Track> resolve(const SmartPlaylist& smartPlaylist) const;
    // Exports the matches as a playlist of the same id, name and dates. Throws
    // PlaylistExporter::ExportError; an unknown id writes nothing.
    void exportSmartPlaylist(const QUuid& id, const QUrl& to, bool relativePaths) const;

    // Device profiles (sync/LibraryDevices.cpp). An unknown profile id changes nothing, and
    // nothing on a device is ever touched here.

    // A new profile of the whole library, taking its format, bit rate, folder structure and
    // the two switches from the preferences' defaults.
    DeviceProfile createDeviceProfile(const QString& name, const QString& rootPath);
    // Replaces the profile of the same id whole.
    void updateDeviceProfile(const DeviceProfile& profile);
    // Removes every profile with that id; the identity file on the device stays.
    void deleteDeviceProfile(const QUuid& id);
    // Appends, in the order given, the ids the profile does not list yet. Writes nothing when
    // none is new.
    void addTracksToDevice(const QList<QUuid>& trackIDs, const QUuid& profileID);
    void removeTracksFromDevice(const QList<QUuid>& trackIDs, const QUuid& profileID);
    // What a sync would change on the device, by the name rules of its file system; the
    // podcast half, when the profile syncs podcasts, is measured against the episodes given.
    // Blocking: it walks the device.
    SyncDiff syncDiff(const DeviceProfile& profile, const QList<SyncDiff::PodcastEpisodes>& podcastsToSync = {}) const;
    // The downloaded episodes, newest first, of each podcast the profile has on, leaving out
    // podcasts with none: what the podcast half of a diff is measured against.
    QList<SyncDiff::PodcastEpisodes> podcastsToSync(const DeviceProfile& profile) const;
    // Device sync (sync/LibrarySync.cpp). The whole run for a caller without a diff in hand:
    // a fresh diff, the shared engine's run and then, when the profile syncs podcasts, the
    // episodes. Throws as SyncEngine::sync and syncPodcastsToDevice do.
    QCoro::Task<> sync(DeviceProfile profile, SyncEngine::ProgressHandler onProgress);
    // The downloaded episodes of `podcast`, newest first, when the profile has it on; none
    // when it is off.
    QList<Episode> episodesToSync(const Podcast& podcast, const DeviceProfile& profile) const;
    // Copies the episodes to sync into the device's podcasts folder and removes every other
    // file there, off the main thread. Throws PodcastSyncer::SyncError.
    QCoro::Task<> syncPodcastsToDevice(QString rootPath, DeviceProfile profile);

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

    // Online metadata (metadata/LibraryMetadata.cpp). Tags and pictures go into the files
    // first, one file at a time off the main thread, and an entry changes only where its file
    // took the change. Those that go online take the HTTP client last, as the lookups do.

    struct AlbumRefetchSummary {
        qint64 matchedCount = 0;   // tracks whose files and entries took the release's data
        qint64 totalCount = 0;     // tracks of the album
        bool artworkFetched = false;
        qint64 unwrittenCount = 0; // matched, but the file refused the tags; left as they were

        // What the user is told: "Updated 12 tracks.", "Updated 9 of 12 tracks — 3 unmatched.",
        // with a word on the artwork when the release had none.
        QString message() const;
    };

    class AlbumRefetchError : public std::runtime_error {
    public:
        enum class Kind { networkError, noMatchFound, invalidAnswer, noDiscID };

        // `description` is the underlying failure's own sentence.
        static AlbumRefetchError networkError(const QString& description);
        // The service was reached but its answer was not taken (too large): `sentence` says so.
        static AlbumRefetchError answerRefused(const QString& sentence);
        static AlbumRefetchError noMatchFound();
        // An answer that came but cannot be applied: unreadable, or a release without its
        // titles or artist credits. Nothing was written.
        static AlbumRefetchError invalidAnswer(const QString& description);
        // Looking the album up by its disc needs a track that carries the disc ID.
        static AlbumRefetchError noDiscID();

        Kind kind() const { return m_kind; }
        QString message() const { return m_message; }

    private:
        AlbumRefetchError(Kind kind, const QString& message);

        Kind m_kind;
        QString m_message;
    };

    struct MissingArtworkSummary {
        qint64 fetchedCount = 0; // tracks that got a cover
        qint64 totalMissing = 0; // tracks looked at
    };

    // Reported after each album of an artwork pass.
    struct ArtworkProgress {
        qsizetype albumsDone = 0;
        qsizetype albumCount = 0;
        QString artist;
        QString album;
        bool found = false;
    };
    using ArtworkProgressHandler = std::function<void(const ArtworkProgress&)>;

    // The releases of the album's release group first, then up to 25 found by name. Throws
    // MusicBrainzReleaseLookup::LookupError when nothing was found and a request failed.
    QCoro::Task<QList<ReleaseCandidate>> searchAlbumReleaseCandidates(
        QString artist, QString album, std::optional<QString> releaseGroupID,
        MetadataHTTPClient& client = MetadataHTTPClient::shared());
    // Overwrites the album's tags and cover with those of one release, matching its tracks by
    // disc and track number (and length, where the disc is unknown). Files are not moved.
    // Throws AlbumRefetchError, and then nothing has changed.
    QCoro::Task<AlbumRefetchSummary> refetchAlbumInfo(QList<Track> tracks, QString releaseID,
                                                      MetadataHTTPClient& client = MetadataHTTPClient::shared());
    // The disc ID (Track::discIDTag) the first of the tracks that has one carries.
    static std::optional<QString> discIDOf(const QList<Track>& tracks);
    // "Look Up Again": asks MusicBrainz for the disc ID the album's tracks carry and applies
    // the release it gives (the one the disc screen would preselect) as refetchAlbumInfo
    // does; then moves each file to its canonical place, where that place is free. Throws
    // AlbumRefetchError: noDiscID, or noMatchFound while MusicBrainz doesn't know the disc.
    QCoro::Task<AlbumRefetchSummary> lookUpAlbumAgain(QList<Track> tracks,
                                                      MetadataHTTPClient& client = MetadataHTTPClient::shared());
    // The tracks, in library order, whose entry and file both lack a picture.
    QCoro::Task<QList<Track>> tracksWithMissingArtwork();
    // Looks a cover up for each album with a track missing one, an album at a time, and writes
    // it into those tracks' files. Albums without a cover are passed over silently.
    QCoro::Task<MissingArtworkSummary> fetchMissingArtwork(ArtworkProgressHandler onProgress = {},
                                                           MetadataHTTPClient& client = MetadataHTTPClient::shared());
    // The same for every track, overwriting the pictures they have.
    QCoro::Task<MissingArtworkSummary> refreshAllArtwork(ArtworkProgressHandler onProgress = {},
                                                         MetadataHTTPClient& client = MetadataHTTPClient::shared());
    // Writes the picture into the files of those tracks and gives the number that took it. A
    // body that isn't an image is never written. Tracks no longer here are passed over.
    QCoro::Task<qsizetype> applyArtwork(ArtworkFetcher::ArtworkResult artwork, QSet<QUuid> trackIDs);
    // Removes every picture from the files of those tracks and gives the number that lost
    // them; an entry changes only where its file did.
    QCoro::Task<qsizetype> removeArtwork(QSet<QUuid> trackIDs);

signals:
    void tracksChanged();
    void playlistsChanged();
    void smartPlaylistsChanged();
    void deviceProfilesChanged();
    void podcastsChanged();
    void episodesChanged();
    void downloadProgressChanged();
    // Once, when the system's limit on watched folders leaves part of the library without
    // live updates; the sentence says so.
    void liveUpdatesPartial(const QString& message);
    // A store could not be saved; the sentence names the file and why.
    void saveFailed(const QString& message);

private:
    // One batch of changed paths from the folder watcher.
    QCoro::Task<> handleChangedFiles(QList<QUrl> urls);

    std::array<StoreWriter*, 5> writers() const;

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

    // The pass of fetchMissingArtwork and refreshAllArtwork over the given tracks.
    QCoro::Task<MissingArtworkSummary> artworkPass(QList<Track> tracks, ArtworkProgressHandler onProgress,
                                                   MetadataHTTPClient& client);

    QUrl m_rootURL;
    ArtworkCache m_artworkCache;
    QList<Track> m_tracks;
    QList<Playlist> m_playlists;
    QList<SmartPlaylist> m_smartPlaylists;
    QList<DeviceProfile> m_deviceProfiles;
    QList<Podcast> m_podcasts;
    QList<Episode> m_episodes;
    QHash<QUuid, double> m_downloadProgress;
    FolderWatcher* m_watcher = nullptr;
    QList<UnreadableStore> m_unreadableStores;
    QList<RepeatedIDs> m_storesWithRepeatedIDs;

    // Declared after the lists, so that they go first and their final flush still sees them.
    std::unique_ptr<StoreWriter> m_tracksWriter;
    std::unique_ptr<StoreWriter> m_playlistsWriter;
    std::unique_ptr<StoreWriter> m_smartPlaylistsWriter;
    std::unique_ptr<StoreWriter> m_deviceProfilesWriter;
    std::unique_ptr<StoreWriter> m_podcastsWriter;
};
