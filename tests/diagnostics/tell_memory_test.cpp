#include "tell.h"

#include <string>

#include <gtest/gtest.h>

#include "rbac/api/FailingAllocation.h"
#include "support/CoarseClock.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::diagnostics::admit;
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

} // namespace
} // namespace keepsafe_test
