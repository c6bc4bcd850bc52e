#include "debug_log.h"

#include <locale>
#include <ostream>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/log/logmsg.h>

#include "support/CapturedLog.h"
#include "support/DefaultLogger.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::diagnostics::debugLog;
using Tessara::Keepsafe::diagnostics::DebugOrigin;
using Tessara::Keepsafe::Platform::LOG_LEVEL_DEBUG;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int LEVEL = 3;

LogLine written(const std::string& text) { return {LOG_LEVEL_DEBUG, "tag", text}; }

DebugOrigin originIn(const char* file) { return {"tag", LEVEL, file, 12}; }

/// A program's locale with "1.234.567".
class GroupingLocale {
public:
    GroupingLocale() : before_(std::locale::global(std::locale(std::locale::classic(), new Grouping))) {}
    ~GroupingLocale() { std::locale::global(before_); }
    GroupingLocale(const GroupingLocale&) = delete;
    GroupingLocale& operator=(const GroupingLocale&) = delete;

private:
    class Grouping : public std::numpunct<char> {
        [[nodiscard]] char do_thousands_sep() const override { return '.'; }
        [[nodiscard]] std::string do_grouping() const override { return "\3"; }
    };
    std::locale before_;
};

/// Counts how often its text is asked for.
struct Part {
    int* asked;
    friend std::ostream& operator<<(std::ostream& out, const Part& part)
    {
        ++*part.asked;
        return out << "part";
    }
};

TEST(DebugLog, EndsWithTheNameOfTheFileAndTheLine)
{
    const CapturedLog log;
    const DefaultLogger logger(LEVEL);
    debugLog(originIn("/sources/folder/file.cpp"), "failed, error=", 7);
    debugLog(originIn("file.cpp"), "again");
    EXPECT_THAT(log.lines(),
                ElementsAre(written("failed, error=7(file.cpp:12)"), written("again(file.cpp:12)")));
}

TEST(DebugLog, TellsThePlaceOfTheCall)
{
    const CapturedLog log;
    const DefaultLogger logger(LEVEL);
    debugLog({"tag", LEVEL}, "here");
    const std::string line = std::to_string(__LINE__ - 1);
    EXPECT_THAT(log.lines(), ElementsAre(written("here(debug_log_test.cpp:" + line + ")")));
}

TEST(DebugLog, WritesNumbersWithoutTheGroupingOfTheProgramsLocale)
{
    const GroupingLocale locale;
    const CapturedLog log;
    const DefaultLogger logger(LEVEL);
    debugLog({"tag", LEVEL, "file.cpp", 1234}, 1234567);
    EXPECT_THAT(log.lines(), ElementsAre(written("1234567(file.cpp:1234)")));
}

TEST(DebugLog, BuildsNoTextThatNobodyReads)
{
    const CapturedLog log;
    int asked = 0;
    debugLog(originIn("file.cpp"), Part{&asked});
    const DefaultLogger logger(LEVEL - 1);
    debugLog(originIn("file.cpp"), Part{&asked});
    EXPECT_EQ(asked, 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

} // namespace
} // namespace keepsafe_test
