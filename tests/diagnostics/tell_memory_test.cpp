#include "tell.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "rbac/api/FailingAllocation.h"
#include "support/CapturedLog.h"
#include "support/CoarseClock.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::diagnostics::admit;
using Tessara::Keepsafe::diagnostics::tell;
using Tessara::Keepsafe::diagnostics::TellAfterwards;
using Tessara::Keepsafe::Process::RepeatedLines;

TEST(TellMemory, IsNotNeededForALineWhoseNumberIsLeftOutThen)
{
    RepeatedLines repeated;
    std::string text = "again";
    setCoarseMilliseconds(5000);
    EXPECT_TRUE(admit(repeated, text));
    EXPECT_FALSE(admit(repeated, text));
    setCoarseMilliseconds(6000);
    bool isAdmitted = false;
    {
        const FailingAllocation failing(0);
        isAdmitted = admit(repeated, text);
    }
    EXPECT_TRUE(FailingAllocation::happened());
    EXPECT_TRUE(isAdmitted);
    EXPECT_EQ(text, "again");
}

TEST(TellMemory, IsMissingForALineThatIsLostThenWhileOthersAreWritten)
{
    const CapturedLog log;
    {
        const TellAfterwards afterwards;
        {
            const FailingAllocation failing(0);
            tell(16, "tag", "lost");
        }
        EXPECT_TRUE(FailingAllocation::happened());
        tell(16, "tag", "written");
        EXPECT_TRUE(log.lines().empty());
    }
    EXPECT_EQ(log.lines(), (std::vector<LogLine>{{16, "tag", "written"}}));
}

} // namespace
} // namespace keepsafe_test
