#pragma once

#include "library/Date.h"
#include "podcasts/Episode.h"
#include "podcasts/Podcast.h"
#include "podcasts/PodcastAutoDownloadRule.h"

#include <QList>
#include <QString>

// The rules and words of the podcast screens, apart from any widget so that tests read them
// directly.
namespace PodcastDisplay {

// Which episodes the list shows.
enum class EpisodeFilter { all, downloaded, unplayed };

// "All", "Downloaded", "Unplayed".
QString label(EpisodeFilter filter);
// Keeps the order it is given.
QList<Episode> filtered(const QList<Episode>& episodes, EpisodeFilter filter);
// The empty list's title and message: "No Episodes" with a hint to refresh, or "No
// Downloaded Episodes" with a hint to change the filter.
std::pair<QString, QString> emptyText(EpisodeFilter filter);

// All of them for an empty text; otherwise those whose title holds the text, ignoring case.
QList<Podcast> matching(const QList<Podcast>& podcasts, const QString& filterText);

// "1 episode", "2 episodes".
QString episodeCount(qsizetype count);
// "Updated 3 hours ago"; nothing for a podcast never fetched.
QString updatedText(const std::optional<Date>& lastFetched, const QDateTime& now);

// "Latest 3 episodes", "Newer than 60 days", "Off": any stored rule, offered or not.
QString ruleText(const PodcastAutoDownloadRule& rule);
// The rules the settings menu offers, in its order.
QList<PodcastAutoDownloadRule> offeredRules();

} // namespace PodcastDisplay
