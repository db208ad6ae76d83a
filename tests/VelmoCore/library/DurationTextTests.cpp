#include "library/DurationText.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;

TEST(DurationText, MinutesBelowAnHourAndHoursFromOneOn)
{
    EXPECT_EQ(formatDuration(0), u"0:00"_s);
    EXPECT_EQ(formatDuration(5.99), u"0:05"_s) << "truncated, not rounded";
    EXPECT_EQ(formatDuration(245), u"4:05"_s);
    EXPECT_EQ(formatDuration(3599.9), u"59:59"_s);
    EXPECT_EQ(formatDuration(3600), u"1:00:00"_s);
    EXPECT_EQ(formatDuration(3723), u"1:02:03"_s);
    EXPECT_EQ(formatDuration(100 * 3600 + 1), u"100:00:01"_s);
}

TEST(DurationText, NothingNegativeOrNotFiniteShows)
{
    EXPECT_EQ(formatDuration(-5), u"0:00"_s);
    EXPECT_EQ(formatDuration(std::numeric_limits<double>::quiet_NaN()), u"0:00"_s);
    EXPECT_EQ(formatDuration(-std::numeric_limits<double>::infinity()), u"0:00"_s);
    EXPECT_TRUE(formatDuration(std::numeric_limits<double>::infinity()).endsWith(u":00"_s));
}
