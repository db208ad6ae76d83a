#pragma once

#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"

#include <QList>
#include <QString>
#include <QUrl>

#include <stdexcept>
#include <utility>

// Which downloaded episodes belong on a device, and putting them there: a folder per podcast
// below the podcasts folder, copies first and removals last, so a failed copy leaves the old
// episodes in place. Episodes are never transcoded. Blocking functions, for a worker thread.
namespace PodcastSyncer {

class SyncError : public std::runtime_error {
public:
    enum class Kind { folderFailed, copyFailed };

    // `path` is the folder, or the episode file copied; `detail` the reason in words.
    SyncError(Kind kind, const QString& path, const QString& detail);

    Kind kind() const { return m_kind; }
    const QString& path() const { return m_path; }
    const QString& detail() const { return m_detail; }
    // The sentence the user reads; what() holds it too, in UTF-8.
    QString message() const;

private:
    Kind m_kind;
    QString m_path;
    QString m_detail;
};

using PodcastEpisodes = std::pair<Podcast, QList<Episode>>;

// The downloaded episodes of the podcast among `episodes`, newest first; equal dates keep
// their order.
QList<Episode> episodesToSync(const Podcast& podcast, const QList<Episode>& episodes);

// Copies each pair's episodes that are on the local disk into the podcast's folder, leaving a
// file already there alone, then removes every other audio file below `podcastsFolder` that is
// not hidden; other files stay. Nothing is entered, written or removed through a symbolic
// link. Throws SyncError for a folder setting that leaves the root, a podcasts folder reached
// through a link, a folder or a copy; removals never fail it.
void sync(const QList<PodcastEpisodes>& filteredEpisodesByPodcast, const QUrl& root, const QString& podcastsFolder);

// The same with the pairs of every podcast.
void sync(const QList<Podcast>& podcasts, const QList<Episode>& episodes, const QUrl& root,
          const QString& podcastsFolder);

} // namespace PodcastSyncer
