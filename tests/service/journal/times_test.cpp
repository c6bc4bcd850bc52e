#include "journal/times.h"

#include <gtest/gtest.h>

namespace {

using keepsafe_service::journalTime;
using keepsafe_service::journalTimeOf;
using std::chrono::microseconds;
using Moment = std::chrono::system_clock::time_point;

TEST(JournalTime, HasMicrosecondsAndOneLength)
{
    EXPECT_EQ(journalTime(Moment(microseconds(0))), "1970-01-01T00:00:00.000000Z");
    EXPECT_EQ(journalTime(Moment(microseconds(1'798'761'599'000'007))), "2026-12-31T23:59:59.000007Z");
    EXPECT_EQ(journalTime(Moment(microseconds(-1))), "1969-12-31T23:59:59.999999Z");
}

TEST(JournalTime, IsReadFromAnyOffset)
{
    for (const char* same : {"2026-01-31T23:59:59Z", "2026-01-31t23:59:59.0z", "2026-02-01T01:29:59+01:30",
                             "2026-01-31T22:59:59.0000009-01:00"}) {
        EXPECT_EQ(journalTimeOf(same), "2026-01-31T23:59:59.000000Z") << same;
    }
    EXPECT_EQ(journalTimeOf("2026-12-31T23:59:60.25Z"), "2027-01-01T00:00:00.250000Z") << "a leap second";
    EXPECT_EQ(journalTimeOf("2024-02-29T00:00:00Z"), "2024-02-29T00:00:00.000000Z");
}

TEST(JournalTime, IsRefusedWhenItIsNone)
{
    for (const std::string text :
         {"", "yesterday", "2026-01-31", "2026-01-31T23:59:59", "2026-01-31 23:59:59Z",
          "2026-02-29T00:00:00Z", "2026-13-01T00:00:00Z", "2026-00-01T00:00:00Z", "2026-01-01T24:00:00Z",
          "2026-01-01T00:60:00Z", "2026-01-01T00:00:61Z", "2026-01-01T00:00:00.Z",
          "2026-01-01T00:00:00+24:00", "2026-01-01T00:00:00+00:60", "2026-01-01T00:00:00 01:00",
          "9999-12-31T23:59:59-00:01", "2026-01-31T23:59:59Z "}) {
        EXPECT_EQ(journalTimeOf(text), std::nullopt) << text;
    }
    EXPECT_EQ(journalTimeOf("2026-01-31T23:59:59." + std::string(100'000, '1') + "Z"), std::nullopt);
}

} // namespace
