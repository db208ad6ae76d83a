#include "library/DisplayText.h"
#include "support/TrackFactory.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

TEST(DisplayText, DurationsShowMinutesBelowAnHourHoursFromOneOnAndNothingNegativeOrNotFinite)
{
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    // 5.99 shows 0:05: truncated, not rounded.
    const std::pair<double, QString> cases[] = {{0, u"0:00"_s}, {5.99, u"0:05"_s}, {245, u"4:05"_s},
        {3599.9, u"59:59"_s}, {3600, u"1:00:00"_s}, {3723, u"1:02:03"_s}, {100 * 3600 + 1, u"100:00:01"_s},
        {-5, u"0:00"_s}, {nan, u"0:00"_s}, {-infinity, u"0:00"_s}};
    for (const auto& [seconds, text] : cases)
        EXPECT_EQ(DisplayText::formatDuration(seconds), text) << seconds;
    EXPECT_TRUE(DisplayText::formatDuration(infinity).endsWith(u":00"_s));
}

TEST(DisplayText, TrackNumbersShowTheirDiscOnlyInListsOfSeveralDiscs)
{
    Track first = makeTrack(u"a"_s);
    first.discNumber = 2;
    first.trackNumber = 5;
    Track second = makeTrack(u"b"_s);
    second.discNumber = 1;
    second.trackNumber = 1;
    Track none = makeTrack(u"c"_s);
    EXPECT_FALSE(DisplayText::hasSeveralDiscs({first, none}));
    EXPECT_TRUE(DisplayText::hasSeveralDiscs({first, second, none}));
    EXPECT_EQ(DisplayText::trackNumberText(first, false), u"5"_s);
    EXPECT_EQ(DisplayText::trackNumberText(first, true), u"2-5"_s);
    EXPECT_EQ(DisplayText::trackNumberText(none, true), u"–"_s);
    EXPECT_EQ(DisplayText::formatText(AudioFormat::alac), u"ALAC"_s);
    EXPECT_EQ(DisplayText::counted(1, u"track"_s), u"1 track"_s);
    EXPECT_EQ(DisplayText::counted(0, u"file"_s), u"0 files"_s);
}

TEST(DisplayText, SpansOfTimeAndSizesReadAsASentenceWouldSayThem)
{
    using namespace std::chrono_literals;
    EXPECT_EQ(DisplayText::spanOfTime(1min), u"a minute"_s);
    EXPECT_EQ(DisplayText::spanOfTime(2min), u"2 minutes"_s);
    EXPECT_EQ(DisplayText::spanOfTime(90s), u"90 seconds"_s);
    EXPECT_EQ(DisplayText::spanOfTime(1s), u"a second"_s);
    EXPECT_EQ(DisplayText::spanOfTime(250ms), u"250 ms"_s);
    EXPECT_EQ(DisplayText::dataSize(16 * 1024), u"16 KiB"_s);
    EXPECT_EQ(DisplayText::dataSize(qint64(1) << 30), u"1 GiB"_s);
    EXPECT_EQ(DisplayText::dataSize(8 * 1024 * 1024 / 20), u"409.6 KiB"_s);
}
