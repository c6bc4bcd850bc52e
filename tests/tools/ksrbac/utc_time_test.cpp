#include <climits>
#include <string>

#include <gtest/gtest.h>

#include "output/utc_time.h"

namespace {

using ksrbac::timeFrom;
using ksrbac::utcTime;

constexpr long long DAY = 86'400'000;

TEST(UtcTime, IsIso8601WithMilliseconds)
{
    EXPECT_EQ(utcTime(0), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(utcTime(1'709'251'198'007), "2024-02-29T23:59:58.007Z");
    EXPECT_EQ(utcTime(253'402'300'800'000), "10000-01-01T00:00:00.000Z");
}

TEST(UtcTime, RoundsDownBeforeTheEpochToo)
{
    EXPECT_EQ(utcTime(-1), "1969-12-31T23:59:59.999Z");
    EXPECT_EQ(utcTime(-1000), "1969-12-31T23:59:59.000Z");
}

TEST(UtcTime, TakesEveryNumber)
{
    EXPECT_EQ(utcTime(LLONG_MAX), "292278994-08-17T07:12:55.807Z");
    EXPECT_EQ(utcTime(LLONG_MIN), "-292275055-05-16T16:47:04.192Z");
}

TEST(TimeFrom, TellsTheTwoGreatestUnits)
{
    EXPECT_EQ(timeFrom(0, 5'000), "in 5 s");
    EXPECT_EQ(timeFrom(0, 8LL * 3'600'000 - 1), "in 7 h 59 min");
    EXPECT_EQ(timeFrom(0, 2 * DAY + 3LL * 3'600'000 + 59'000), "in 2 d 3 h");
    EXPECT_EQ(timeFrom(0, DAY + 60'000), "in 1 d");
    EXPECT_EQ(timeFrom(90'000, 0), "1 min 30 s ago");
    EXPECT_EQ(timeFrom(0, 999), "now");
    EXPECT_EQ(timeFrom(999, 0), "now");
}

TEST(TimeFrom, TakesEveryPairOfNumbers)
{
    EXPECT_EQ(timeFrom(LLONG_MIN, LLONG_MAX), "in 213503982334 d 14 h");
    EXPECT_EQ(timeFrom(LLONG_MAX, LLONG_MIN), "213503982334 d 14 h ago");
}

} // namespace
