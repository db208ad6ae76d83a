#include "PodcastEpisodes.h"

#include <QHash>

#include <algorithm>

namespace PodcastEpisodes {

void merge(QList<Episode>& stored, const QList<Episode>& fetched, const QUuid& podcastID)
{
    QHash<QString, qsizetype> byGUID;
    QHash<QUrl, qsizetype> byURL;
    for (qsizetype i = 0; i < stored.size(); ++i) {
        const Episode& episode = stored.at(i);
        if (episode.podcastID != podcastID)
            continue;
        if (episode.guid)
            byGUID.insert(*episode.guid, i);
        byURL.insert(episode.remoteURL, i);
    }

    // Matches are looked up in the maps as they stood before the merge: fetched episodes
    // that only duplicate each other are all appended.
    for (const Episode& episode : fetched) {
        std::optional<qsizetype> match;
        if (episode.guid) {
            if (const auto found = byGUID.constFind(*episode.guid); found != byGUID.cend())
                match = *found;
        }
        if (!match) {
            if (const auto found = byURL.constFind(episode.remoteURL); found != byURL.cend())
                match = *found;
        }
        if (!match) {
            stored.append(episode);
            continue;
        }
        Episode& existing = stored[*match];
        existing.title = episode.title;
        existing.episodeDescription = episode.episodeDescription;
        existing.duration = episode.duration;
        existing.remoteURL = episode.remoteURL;
        if (episode.guid)
            existing.guid = episode.guid;
    }
}

void sortNewestFirst(QList<Episode>& episodes)
{
    std::stable_sort(episodes.begin(), episodes.end(),
                     [](const Episode& a, const Episode& b) { return a.publishDate > b.publishDate; });
}

QList<Episode> autoDownloadSelection(const QList<Episode>& episodes, const QUuid& podcastID,
                                     const PodcastAutoDownloadRule& rule, const QDateTime& now)
{
    if (std::holds_alternative<PodcastAutoDownloadRule::None>(rule.value))
        return {};
    QList<Episode> candidates;
    for (const Episode& episode : episodes) {
        if (episode.podcastID == podcastID && episode.downloadState == DownloadState::notDownloaded)
            candidates.append(episode);
    }
    sortNewestFirst(candidates);

    if (const auto* latest = std::get_if<PodcastAutoDownloadRule::LatestN>(&rule.value))
        return candidates.first(std::clamp<qint64>(latest->count, 0, candidates.size()));

    const qint64 days = std::get<PodcastAutoDownloadRule::NewerThan>(rule.value).days;
    // Whole calendar days in local time: across a change of summer time the clock time stays.
    // QDateTime wraps around silently far beyond any real date; such a count has no date, and
    // the cutoff is then now.
    constexpr qint64 calendarDayLimit = 100'000'000;
    const QDateTime dayShifted = now.toLocalTime().addDays(-days);
    const bool representable = days <= calendarDayLimit && days >= -calendarDayLimit && dayShifted.isValid();
    const Date cutoff = Date::fromDateTime(representable ? dayShifted : now);
    candidates.removeIf([&cutoff](const Episode& episode) { return episode.publishDate < cutoff; });
    return candidates;
}

} // namespace PodcastEpisodes
