#include "library/DisplayText.h"
#include "support/TrackFactory.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

TEST(DisplayText, MinutesBelowAnHourAndHoursFromOneOn)
{
    EXPECT_EQ(DisplayText::formatDuration(0), u"0:00"_s);
    EXPECT_EQ(DisplayText::formatDuration(5.99), u"0:05"_s) << "truncated, not rounded";
    EXPECT_EQ(DisplayText::formatDuration(245), u"4:05"_s);
    EXPECT_EQ(DisplayText::formatDuration(3599.9), u"59:59"_s);
    EXPECT_EQ(DisplayText::formatDuration(3600), u"1:00:00"_s);
    EXPECT_EQ(DisplayText::formatDuration(3723), u"1:02:03"_s);
    EXPECT_EQ(DisplayText::formatDuration(100 * 3600 + 1), u"100:00:01"_s);
}

TEST(DisplayText, NothingNegativeOrNotFiniteShows)
{
    EXPECT_EQ(DisplayText::formatDuration(-5), u"0:00"_s);
    EXPECT_EQ(DisplayText::formatDuration(std::numeric_limits<double>::quiet_NaN()), u"0:00"_s);
    EXPECT_EQ(DisplayText::formatDuration(-std::numeric_limits<double>::infinity()), u"0:00"_s);
    EXPECT_TRUE(DisplayText::formatDuration(std::numeric_limits<double>::infinity()).endsWith(u":00"_s));
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
}
