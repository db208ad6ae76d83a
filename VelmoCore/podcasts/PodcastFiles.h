#pragma once

#include "Episode.h"

#include <QString>
#include <QUrl>

// Where episode files lie: root / "Podcasts" / podcast title / episode title + extension,
// each name cleaned by the library's one rule. Titles come from feeds, so each name also
// stays a single component (never "", "." or "..") and well under the 255 bytes a file
// system allows, with room left for the temporary name of a download in progress.
namespace PodcastFiles {

inline constexpr qsizetype maximumNameBytes = 240;

// The podcast's folder; "Unknown Podcast" when the title leaves nothing.
QString podcastFolder(const QUrl& root, const QString& podcastTitle);

// The sanitised title, or the episode's id when that leaves nothing, with the lower-case
// extension of the enclosure's path ("mp3" when it has none). A `copy` above 1 adds " (2)",
// " (3)", … before the extension, for episodes that share a title.
QString episodeFileName(const Episode& episode, int copy = 1);

} // namespace PodcastFiles
