#include <cstdint>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "doctor/limits.h"
#include "doctor/verdict.h"

namespace keepsafe_test::doctor_report {
namespace {

using ksrbac::Finding;
using ksrbac::PlugInStatus;
using State = ksrbac::Finding::State;

const Finding OK{State::Ok, "a", "well", ""};
const Finding WARNING{State::Warning, "b", "odd", "mend it"};
const Finding FAILURE{State::Failure, "c", "broken", "repair it"};
const Finding UNKNOWN{State::Unknown, "d", "hidden", "look as root"};
const Finding SKIPPED{State::Skipped, "e", "because of c", ""};

TEST(DoctorReport, WeighsFailuresMoreThanWarningsAndThoseMoreThanWhatIsUnknown)
{
    EXPECT_EQ(ksrbac::statusOf({OK, SKIPPED}), PlugInStatus::Ok);
    EXPECT_EQ(ksrbac::statusOf({OK, UNKNOWN}), PlugInStatus::Unknown);
    EXPECT_EQ(ksrbac::statusOf({UNKNOWN, WARNING}), PlugInStatus::Warning);
    EXPECT_EQ(ksrbac::statusOf({WARNING, UNKNOWN, FAILURE}), PlugInStatus::Critical);
}

TEST(DoctorReport, SumsUpInItsFirstLineAndSaysBelowALineWhatToDo)
{
    EXPECT_EQ(ksrbac::summaryOf({OK, OK, SKIPPED}), "OK: 2 ok");
    StringSink sink;
    const ksrbac::Console console(sink, sink);
    EXPECT_EQ(ksrbac::reportText({OK, WARNING, WARNING, FAILURE, UNKNOWN, SKIPPED}, console),
              "CRITICAL: 1 failure, 2 warnings, 1 unknown, 1 ok: c: broken\n"
              "ok       a: well\n"
              "warning  b: odd\n         mend it\n"
              "warning  b: odd\n         mend it\n"
              "failure  c: broken\n         repair it\n"
              "unknown  d: hidden\n         look as root\n"
              "skipped  e: because of c\n");
}

TEST(DoctorReport, ColoursTheWordsWhereThereAreColours)
{
    StringSink sink;
    ksrbac::Console console(sink, sink);
    console.chooseColours(ksrbac::ColourChoice::Always);
    EXPECT_EQ(ksrbac::reportText({OK, WARNING, FAILURE, UNKNOWN, SKIPPED}, console),
              "\x1B[31mCRITICAL\x1B[0m: 1 failure, 1 warning, 1 unknown, 1 ok: c: broken\n"
              "\x1B[32mok\x1B[0m       a: well\n"
              "\x1B[33mwarning\x1B[0m  b: odd\n         mend it\n"
              "\x1B[31mfailure\x1B[0m  c: broken\n         repair it\n"
              "\x1B[33munknown\x1B[0m  d: hidden\n         look as root\n"
              "skipped  e: because of c\n");
    EXPECT_EQ(ksrbac::reportText({OK}, console),
              "\x1B[32mOK\x1B[0m: 1 ok\n\x1B[32mok\x1B[0m       a: well\n");
}

TEST(DoctorReport, CallsSpaceLowBelow64MebibytesOrAHundredth)
{
    constexpr std::uint64_t MEBIBYTE = 1'048'576;
    EXPECT_TRUE(ksrbac::isSpaceLow(64 * MEBIBYTE - 1, 1000 * MEBIBYTE));
    EXPECT_FALSE(ksrbac::isSpaceLow(64 * MEBIBYTE, 1000 * MEBIBYTE));
    EXPECT_TRUE(ksrbac::isSpaceLow(99 * MEBIBYTE, 10000 * MEBIBYTE));
    EXPECT_FALSE(ksrbac::isSpaceLow(100 * MEBIBYTE, 10000 * MEBIBYTE));
}

} // namespace
} // namespace keepsafe_test::doctor_report
