#include "PodcastDisplay.h"

#include "library/DisplayText.h"

using namespace Qt::StringLiterals;

namespace PodcastDisplay {

QString label(EpisodeFilter filter)
{
    switch (filter) {
    case EpisodeFilter::all: return u"All"_s;
    case EpisodeFilter::downloaded: return u"Downloaded"_s;
    case EpisodeFilter::unplayed: return u"Unplayed"_s;
    }
    Q_UNREACHABLE();
}

QList<Episode> filtered(const QList<Episode>& episodes, EpisodeFilter filter)
{
    QList<Episode> kept;
    for (const Episode& episode : episodes) {
        const bool keep = filter == EpisodeFilter::all
                          || (filter == EpisodeFilter::downloaded && episode.downloadState == DownloadState::downloaded)
                          || (filter == EpisodeFilter::unplayed && !episode.isPlayed);
        if (keep)
            kept.append(episode);
    }
    return kept;
}

std::pair<QString, QString> emptyText(EpisodeFilter filter)
{
    if (filter == EpisodeFilter::all)
        return {u"No Episodes"_s, u"Refresh the feed to load episodes."_s};
    return {u"No "_s + label(filter) + u" Episodes"_s, u"Change the filter to see more episodes."_s};
}

QList<Podcast> matching(const QList<Podcast>& podcasts, const QString& filterText)
{
    if (filterText.isEmpty())
        return podcasts;
    QList<Podcast> found;
    for (const Podcast& podcast : podcasts) {
        if (podcast.title.contains(filterText, Qt::CaseInsensitive))
            found.append(podcast);
    }
    return found;
}

QString episodeCount(qsizetype count)
{
    return DisplayText::counted(count, u"episode"_s);
}

QString updatedText(const std::optional<Date>& lastFetched, const QDateTime& now)
{
    if (!lastFetched)
        return {};
    const qint64 seconds = std::max<qint64>(0, lastFetched->toDateTime().secsTo(now));
    struct Unit {
        qint64 seconds;
        const char16_t* name;
    };
    static constexpr Unit units[] = {{86400 * 365, u"year"}, {86400 * 30, u"month"}, {86400 * 7, u"week"},
                                     {86400, u"day"},         {3600, u"hour"},        {60, u"minute"}};
    for (const Unit& unit : units) {
        if (seconds >= unit.seconds)
            return u"Updated "_s + DisplayText::counted(seconds / unit.seconds, QString::fromUtf16(unit.name))
                   + u" ago"_s;
    }
    return u"Updated "_s + DisplayText::counted(seconds, u"second"_s) + u" ago"_s;
}

QString ruleText(const PodcastAutoDownloadRule& rule)
{
    if (const auto* latest = std::get_if<PodcastAutoDownloadRule::LatestN>(&rule.value))
        return u"Latest "_s + QString::number(latest->count) + (latest->count == 1 ? u" episode"_s : u" episodes"_s);
    if (const auto* newer = std::get_if<PodcastAutoDownloadRule::NewerThan>(&rule.value))
        return u"Newer than "_s + QString::number(newer->days) + u" days"_s;
    return u"Off"_s;
}

QList<PodcastAutoDownloadRule> offeredRules()
{
    QList<PodcastAutoDownloadRule> rules;
    for (const qint64 count : {1, 3, 5, 10})
        rules.append(PodcastAutoDownloadRule::latestN(count));
    for (const qint64 days : {7, 14, 30})
        rules.append(PodcastAutoDownloadRule::newerThan(days));
    return rules;
}

} // namespace PodcastDisplay
