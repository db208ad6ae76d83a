#include "podcasts/MarkupStripper.h"
#include "podcasts/PodcastDisplay.h"

#include "library/BlockingWait.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using PodcastDisplay::EpisodeFilter;

namespace {

Episode episode(const QString& title, bool played, DownloadState state)
{
    Episode e;
    e.id = QUuid::createUuid();
    e.title = title;
    e.isPlayed = played;
    e.downloadState = state;
    return e;
}

QStringList titles(const QList<Episode>& episodes)
{
    QStringList out;
    for (const Episode& e : episodes)
        out.append(e.title);
    return out;
}

TEST(PodcastDisplay, FiltersKeepOrderAndTestOnlyTheirOwnField)
{
    const QList<Episode> episodes{episode(u"new, played, on disk"_s, true, DownloadState::downloaded),
                                  episode(u"fetching"_s, false, DownloadState::downloading),
                                  episode(u"failed"_s, false, DownloadState::failed),
                                  episode(u"old, unplayed, on disk"_s, false, DownloadState::downloaded)};
    EXPECT_EQ(titles(PodcastDisplay::filtered(episodes, EpisodeFilter::all)).size(), 4);
    EXPECT_EQ(titles(PodcastDisplay::filtered(episodes, EpisodeFilter::downloaded)),
              (QStringList{u"new, played, on disk"_s, u"old, unplayed, on disk"_s}));
    EXPECT_EQ(titles(PodcastDisplay::filtered(episodes, EpisodeFilter::unplayed)),
              (QStringList{u"fetching"_s, u"failed"_s, u"old, unplayed, on disk"_s}));
}

TEST(PodcastDisplay, EmptyListWordsNameTheFilter)
{
    EXPECT_EQ(PodcastDisplay::emptyText(EpisodeFilter::all),
              std::pair(u"No Episodes"_s, u"Refresh the feed to load episodes."_s));
    EXPECT_EQ(PodcastDisplay::emptyText(EpisodeFilter::downloaded),
              std::pair(u"No Downloaded Episodes"_s, u"Change the filter to see more episodes."_s));
    EXPECT_EQ(PodcastDisplay::emptyText(EpisodeFilter::unplayed).first, u"No Unplayed Episodes"_s);
}

TEST(PodcastDisplay, TitleFilterIgnoresCaseAndOnlySearchesTitles)
{
    Podcast radio{.id = QUuid::createUuid(), .title = u"Late Night Radio"_s};
    radio.description = u"about science"_s;
    Podcast science{.id = QUuid::createUuid(), .title = u"Science Weekly"_s};
    Podcast cafe{.id = QUuid::createUuid(), .title = u"Café Ümlaut"_s};
    const QList<Podcast> all{radio, science, cafe};

    EXPECT_EQ(PodcastDisplay::matching(all, {}).size(), 3);
    const QList<Podcast> found = PodcastDisplay::matching(all, u"SCIENCE"_s);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.constFirst().title, u"Science Weekly"_s);
    EXPECT_EQ(PodcastDisplay::matching(all, u"café üm"_s).size(), 1);
    EXPECT_TRUE(PodcastDisplay::matching(all, u"jazz"_s).isEmpty());
}

TEST(PodcastDisplay, CountsAndRelativeUpdateTimes)
{
    EXPECT_EQ(PodcastDisplay::episodeCount(0), u"0 episodes"_s);
    EXPECT_EQ(PodcastDisplay::episodeCount(1), u"1 episode"_s);
    EXPECT_EQ(PodcastDisplay::episodeCount(12), u"12 episodes"_s);

    const QDateTime now = QDateTime(QDate(2026, 3, 10), QTime(12, 0), Qt::UTC);
    EXPECT_EQ(PodcastDisplay::updatedText(std::nullopt, now), QString());
    EXPECT_EQ(PodcastDisplay::updatedText(Date::fromDateTime(now.addSecs(-3 * 3600 - 59)), now), u"Updated 3 hours ago"_s);
    EXPECT_EQ(PodcastDisplay::updatedText(Date::fromDateTime(now.addSecs(-60)), now), u"Updated 1 minute ago"_s);
    EXPECT_EQ(PodcastDisplay::updatedText(Date::fromDateTime(now.addDays(-1)), now), u"Updated 1 day ago"_s);
    // A clock set back shows no time in the future.
    EXPECT_EQ(PodcastDisplay::updatedText(Date::fromDateTime(now.addSecs(30)), now), u"Updated 0 seconds ago"_s);
}

TEST(PodcastDisplay, RuleTextsCoverTheMenuAndStoredRulesOutsideIt)
{
    QStringList menu;
    for (const PodcastAutoDownloadRule& rule : PodcastDisplay::offeredRules())
        menu.append(PodcastDisplay::ruleText(rule));
    EXPECT_EQ(menu, (QStringList{u"Latest 1 episode"_s, u"Latest 3 episodes"_s, u"Latest 5 episodes"_s,
                                 u"Latest 10 episodes"_s, u"Newer than 7 days"_s, u"Newer than 14 days"_s,
                                 u"Newer than 30 days"_s}));
    EXPECT_EQ(PodcastDisplay::ruleText(PodcastAutoDownloadRule::newerThan(60)), u"Newer than 60 days"_s);
    EXPECT_FALSE(PodcastDisplay::offeredRules().contains(PodcastAutoDownloadRule::newerThan(60)));
    EXPECT_EQ(PodcastDisplay::ruleText(PodcastAutoDownloadRule::none()), u"Off"_s);
}

TEST(MarkupStripper, PlainTextStaysLiteralAndMarkupBecomesClean)
{
    // Without "<" nothing is parsed, so an entity stays as written.
    EXPECT_EQ(MarkupStripper::strip(u"Tom &amp; Jerry"_s), u"Tom &amp; Jerry"_s);
    EXPECT_EQ(MarkupStripper::strip(u"<p>Tom &amp; Jerry&nbsp;&#233;</p>"_s), u"Tom & Jerry é"_s);
    EXPECT_EQ(MarkupStripper::strip(u"<p>One</p><p>Two<br>Three</p>"_s), u"One\nTwo\nThree"_s);
    EXPECT_EQ(MarkupStripper::strip(u"<script>alert(1)</script><b>bold</b>"_s).contains(u"<b>"_s), false);
    // A lone "<" in prose is still read as HTML: the comparison survives as text.
    EXPECT_EQ(MarkupStripper::strip(u"3 < 4 &amp; 5"_s), u"3 < 4 & 5"_s);
    EXPECT_EQ(MarkupStripper::strip(QString()), QString());
}

TEST(MarkupStripper, LinkedTextKeepsAnchorsAndMakesBareAddressesLinks)
{
    const QString notes = MarkupStripper::linkedText(
        u"<p>Show notes with <a href=\"https://example.org/a?x=1&amp;y=2\">links</a> &lt;here&gt;</p><p>Next</p>"_s);
    EXPECT_EQ(notes, u"Show notes with <a href=\"https://example.org/a?x=1&amp;y=2\">links</a> &lt;here&gt;<br>Next"_s);
    EXPECT_EQ(MarkupStripper::linkedText(u"See https://example.org/ep/1. Bye"_s),
              u"See <a href=\"https://example.org/ep/1\">https://example.org/ep/1</a>. Bye"_s);
    EXPECT_EQ(MarkupStripper::linkedText(u"a & b\nc"_s), u"a &amp; b<br>c"_s);
}

TEST(MarkupStripper, LongNotesAreReadOnAWorkerWithTheSameResult)
{
    QString longNotes;
    for (int i = 0; i < 400; ++i)
        longNotes += u"<p>Chapter "_s + QString::number(i) + u" &amp; more</p>"_s;
    const QString inBackground = BlockingWait::wait(MarkupStripper::linkedTextInBackground(longNotes));
    EXPECT_EQ(inBackground, MarkupStripper::linkedText(longNotes));
    EXPECT_TRUE(inBackground.startsWith(u"Chapter 0 &amp; more<br>Chapter 1"_s));
}

} // namespace
