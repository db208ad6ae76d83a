#pragma once

#include "Episode.h"
#include "PodcastAutoDownloadRule.h"

#include <QDateTime>
#include <QList>
#include <QUuid>

// The rules of what survives a refresh and what a refresh downloads by itself, as functions
// of the episode list, so that they are tested and measured without a network.
namespace PodcastEpisodes {

// Matches the fetched episodes with the stored ones of the podcast, by guid and then by
// enclosure address (the last stored one wins a tie). A match takes the feed's title,
// description, duration and address, and its guid when it has one; its id, date, file,
// played mark and state stay. The rest are appended as they came. Nothing is removed.
void merge(QList<Episode>& stored, const QList<Episode>& fetched, const QUuid& podcastID);

// Newest first; episodes of the same date keep their order.
void sortNewestFirst(QList<Episode>& episodes);

// What the rule fetches now, newest first: only episodes never downloaded (a failed one is not
// retried by itself). latestN counts episodes still to fetch, so each refresh reaches further
// back; newerThan counts calendar days back from `now`, in local time.
QList<Episode> autoDownloadSelection(const QList<Episode>& episodes, const QUuid& podcastID,
                                     const PodcastAutoDownloadRule& rule, const QDateTime& now);

} // namespace PodcastEpisodes
