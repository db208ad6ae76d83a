#pragma once

#include "AddAction.h"
#include "DeviceProfile.h"
#include "library/Track.h"
#include "playlists/Playlist.h"
#include "playlists/SmartPlaylist.h"
#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"

#include <QList>
#include <QStringList>
#include <QUrl>

#include <optional>
#include <utility>

class FileTree;

// What must change on a device so that it holds what its profile asks for: the one place of
// the path rule on the device. Computing it only looks; nothing is ever written or deleted.
struct SyncDiff {
    struct AddItem {
        Track track;
        QUrl destinationURL;
        AddAction action;

        bool needsTranscode() const { return action.kind == AddAction::Kind::transcode; }

        bool operator==(const AddItem&) const = default;
    };

    struct PodcastChanges {
        QList<std::pair<Podcast, Episode>> toAdd;
        QList<QUrl> toRemove;
        qint64 unchanged = 0;

        bool operator==(const PodcastChanges&) const = default;
    };

    // A podcast and the episodes of it that should be on the device.
    using PodcastEpisodes = std::pair<Podcast, QList<Episode>>;

    // How names are made on the device. `fat` adds the limits of FAT32 and exFAT to the
    // cleaning of each name, and keeps two tracks that would share a path apart.
    enum class NameRules { plain, fat };

    QList<AddItem> toAdd;  // in the order of the wanted tracks
    QList<QUrl> toRemove;  // in the order of the walk
    qint64 unchanged = 0;
    std::optional<PodcastChanges> podcastChanges; // none when the profile does not sync podcasts
    // Symbolic links met below the root, in the order of the walk: never entered, never
    // removed, never written through. A track whose place is such a link is not added.
    QList<QUrl> passedOver;

    // Never fails: a file that cannot be read counts as fresh when it is wanted, and stays
    // off the removal lists when it is not; a device that cannot be walked has nothing to
    // remove. A profile with a problem() gives an empty diff: nothing of it is acted on.
    // Tracks that would share a place on the device are kept apart in library order, the
    // later ones numbered as in "01 Intro (2).flac".
    static SyncDiff compute(const QList<Track>& tracks, const QList<Playlist>& playlists,
                            const QList<SmartPlaylist>& smartPlaylists, const DeviceProfile& profile,
                            const QUrl& libraryRoot, const QList<PodcastEpisodes>& podcastsToSync,
                            NameRules nameRules = NameRules::plain, const FileTree* files = nullptr);

    // Where the track's file goes on the device: below the profile's music folder, by its
    // folder structure, with the extension of its output format. Alone, with no other track
    // to keep apart from.
    static QUrl destinationURL(const Track& track, const DeviceProfile& profile, const QUrl& libraryRoot,
                               NameRules nameRules = NameRules::plain);

    // The place of each of `tracks` on the device, in their order, with the later of two
    // tracks that would share one numbered: the paths compute() and the playlists use.
    static QStringList destinationPaths(const QList<Track>& tracks, const DeviceProfile& profile,
                                        const QUrl& libraryRoot, NameRules nameRules = NameRules::plain);

    // Where an episode goes on the device: a folder per podcast below the podcasts folder.
    static QUrl episodeDestinationURL(const Podcast& podcast, const Episode& episode, const DeviceProfile& profile,
                                      NameRules nameRules = NameRules::plain);

    // The rules for the file system of type `fileSystemType` as mountinfo names it.
    static NameRules nameRulesFor(const QString& fileSystemType);
    // The rules for the file system that holds `rootPath` now, from the mount table.
    static NameRules nameRulesAt(const QString& rootPath);

    bool operator==(const SyncDiff&) const = default;
};
