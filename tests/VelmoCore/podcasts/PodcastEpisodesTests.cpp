#include "podcasts/PodcastEpisodes.h"

#include <QScopeGuard>
#include <QTimeZone>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

const QUuid show = QUuid::fromString(u"00000000-0000-4000-8000-000000000001"_s);
const QUuid otherShow = QUuid::fromString(u"00000000-0000-4000-8000-000000000002"_s);

Episode episode(const QString& title, std::optional<QString> guid, const QString& url, double date = 0,
                const QUuid& podcastID = show)
{
    return Episode{
        .id = QUuid::createUuid(),
        .podcastID = podcastID,
        .title = title,
        .episodeDescription = title + u" notes"_s,
        .publishDate = Date{date},
        .duration = 60,
        .remoteURL = QUrl(u"https://cdn.example.org/"_s + url),
        .guid = std::move(guid),
    };
}

QStringList titles(const QList<Episode>& episodes)
{
    QStringList result;
    for (const Episode& e : episodes)
        result.append(e.title);
    return result;
}

} // namespace

TEST(PodcastMerge, AGuidMatchKeepsWhatTheUserHasAndTakesTheFeedsText)
{
    Episode stored = episode(u"Old title"_s, u"g1"_s, u"old.mp3"_s, 1000);
    stored.isPlayed = true;
    stored.localURL = QUrl::fromLocalFile(u"/music/Podcasts/Show/Old title.mp3"_s);
    stored.downloadState = DownloadState::downloaded;
    QList<Episode> episodes{stored};

    Episode fetched = episode(u"New title"_s, u"g1"_s, u"new.mp3"_s, 5000);
    fetched.duration = 3723;
    PodcastEpisodes::merge(episodes, {fetched}, show);

    ASSERT_EQ(episodes.size(), 1);
    const Episode& merged = episodes[0];
    EXPECT_EQ(merged.id, stored.id);
    EXPECT_EQ(merged.episodeDescription, u"New title notes"_s);
    EXPECT_EQ(merged.duration, 3723);
    EXPECT_EQ(merged.remoteURL, fetched.remoteURL);
    EXPECT_EQ(merged.publishDate, stored.publishDate) << "the date is frozen at first sight";
    EXPECT_TRUE(merged.isPlayed);
    EXPECT_EQ(merged.localURL, stored.localURL);
}

TEST(PodcastMerge, TheEnclosureAddressMatchesWhenTheGuidDoesNot)
{
    QList<Episode> episodes{episode(u"no guid"_s, std::nullopt, u"a.mp3"_s),
                            episode(u"has guid"_s, u"kept"_s, u"b.mp3"_s)};
    const QUuid firstID = episodes[0].id;
    const QUuid secondID = episodes[1].id;
    PodcastEpisodes::merge(episodes,
                           {episode(u"gains guid"_s, u"new-guid"_s, u"a.mp3"_s),
                            episode(u"guid dropped"_s, std::nullopt, u"b.mp3"_s)},
                           show);
    ASSERT_EQ(episodes.size(), 2);
    EXPECT_EQ(episodes[0].id, firstID);
    EXPECT_EQ(episodes[0].guid, u"new-guid"_s) << "the stored episode gains the guid";
    EXPECT_EQ(episodes[1].id, secondID);
    EXPECT_EQ(episodes[1].guid, u"kept"_s) << "a fetched episode without guid leaves the stored one";
    EXPECT_EQ(episodes[1].title, u"guid dropped"_s);
}

TEST(PodcastMerge, WhatCountsAsNew)
{
    QList<Episode> episodes{episode(u"mine"_s, u"shared"_s, u"mine.mp3"_s, 0, otherShow),
                            episode(u"moved"_s, std::nullopt, u"before.mp3"_s),
                            episode(u"renamed"_s, u"old-guid"_s, u"old.mp3"_s)};
    const QList<Episode> before = episodes;
    PodcastEpisodes::merge(episodes,
                           {episode(u"theirs"_s, u"shared"_s, u"theirs.mp3"_s),
                            episode(u"moved"_s, std::nullopt, u"after.mp3"_s),
                            episode(u"renamed"_s, u"new-guid"_s, u"new.mp3"_s),
                            episode(u"dup"_s, u"d"_s, u"dup.mp3"_s), episode(u"dup"_s, u"d"_s, u"dup.mp3"_s)},
                           show);
    EXPECT_EQ(episodes.mid(0, 3), before) << "other podcasts' guids take no part; nothing stored changes or goes";
    EXPECT_EQ(titles(episodes.mid(3)), (QStringList{u"theirs"_s, u"moved"_s, u"renamed"_s, u"dup"_s, u"dup"_s}))
        << "duplicates among the fetched are all appended";

    QList<Episode> twins{episode(u"first"_s, u"g"_s, u"x.mp3"_s), episode(u"second"_s, u"g"_s, u"y.mp3"_s)};
    PodcastEpisodes::merge(twins, {episode(u"updated"_s, u"g"_s, u"z.mp3"_s)}, show);
    EXPECT_EQ(titles(twins), (QStringList{u"first"_s, u"updated"_s})) << "the last stored duplicate wins a tie";
}

TEST(PodcastAutoDownload, LatestNCountsEpisodesStillToFetch)
{
    QList<Episode> episodes;
    for (int i = 0; i < 5; ++i)
        episodes.append(episode(u"e%1"_s.arg(i), std::nullopt, u"%1.mp3"_s.arg(i), i * 100.0));
    episodes[4].downloadState = DownloadState::downloaded;
    episodes[3].downloadState = DownloadState::failed;
    episodes[2].isPlayed = true;
    episodes.append(episode(u"other"_s, std::nullopt, u"o.mp3"_s, 9999, otherShow));
    const QDateTime now = QDateTime::currentDateTime();

    EXPECT_EQ(titles(PodcastEpisodes::autoDownloadSelection(episodes, show, PodcastAutoDownloadRule::latestN(2), now)),
              (QStringList{u"e2"_s, u"e1"_s}))
        << "neither downloaded nor failed ones count; a played one does";
    EXPECT_TRUE(PodcastEpisodes::autoDownloadSelection(episodes, show, PodcastAutoDownloadRule::latestN(0), now).isEmpty());
    EXPECT_TRUE(PodcastEpisodes::autoDownloadSelection(episodes, show, PodcastAutoDownloadRule::none(), now).isEmpty());
}

TEST(PodcastAutoDownload, NewerThanCountsCalendarDaysBack)
{
    // In New York summer time begins on 10 March 2024: a week back from noon on the 14th is
    // noon on the 7th, local time, which is 167 hours and not 168.
    const QTimeZone newYork("America/New_York");
    ASSERT_TRUE(newYork.isValid());
    const QByteArray previousTZ = qgetenv("TZ");
    qputenv("TZ", "America/New_York");
    const auto restoreTZ = qScopeGuard([&previousTZ] {
        if (previousTZ.isEmpty())
            qunsetenv("TZ");
        else
            qputenv("TZ", previousTZ);
    });
    const QDateTime now(QDate(2024, 3, 14), QTime(12, 0), newYork);
    const QDateTime cutoff(QDate(2024, 3, 7), QTime(12, 0), newYork);
    ASSERT_EQ(cutoff.secsTo(now), 167 * 3600);

    const auto at = [](const QDateTime& when) { return Date::fromDateTime(when).secondsSinceReferenceDate; };
    QList<Episode> episodes{
        episode(u"exactly at the cutoff"_s, std::nullopt, u"a.mp3"_s, at(cutoff)),
        episode(u"a second before"_s, std::nullopt, u"b.mp3"_s, at(cutoff) - 1),
        episode(u"168 hours back"_s, std::nullopt, u"c.mp3"_s, at(now.addSecs(-168 * 3600))),
        episode(u"today"_s, std::nullopt, u"d.mp3"_s, at(now.addSecs(-60))),
    };
    const QList<Episode> week =
        PodcastEpisodes::autoDownloadSelection(episodes, show, PodcastAutoDownloadRule::newerThan(7), now);
    EXPECT_EQ(titles(week), (QStringList{u"today"_s, u"exactly at the cutoff"_s}));

    EXPECT_TRUE(PodcastEpisodes::autoDownloadSelection(episodes, show, PodcastAutoDownloadRule::newerThan(0), now).isEmpty())
        << "zero days: only episodes from this very moment on";

    const QList<Episode> all = PodcastEpisodes::autoDownloadSelection(
        episodes, show, PodcastAutoDownloadRule::newerThan(std::numeric_limits<qint64>::max()), now);
    EXPECT_TRUE(all.isEmpty()) << "a cutoff the calendar cannot give is now";
}

TEST(PodcastEpisodesOrder, NewestFirstKeepsTheOrderOfEqualDates)
{
    QList<Episode> episodes{episode(u"a"_s, {}, u"a"_s, 10), episode(u"b"_s, {}, u"b"_s, 30),
                            episode(u"c"_s, {}, u"c"_s, 10), episode(u"d"_s, {}, u"d"_s, 20)};
    PodcastEpisodes::sortNewestFirst(episodes);
    EXPECT_EQ(titles(episodes), (QStringList{u"b"_s, u"d"_s, u"a"_s, u"c"_s}));
}
