/// Answers about the configuration for which memory runs out.

#include <gtest/gtest.h>

#include "ConfigQueries.h"
#include "rbac/api/FailingAllocation.h"

namespace keepsafe_test {
namespace {

TEST_F(ConfigQueries, SayThatEnforcementIsOnWithoutMemory)
{
    write("[features]\nenabled = []");
    EXPECT_EQ(IsFeatureEnabled_c(1), 0);
    int isEnabled = 0;
    {
        const FailingAllocation failing(0);
        isEnabled = IsFeatureEnabled_c(1);
    }
    EXPECT_TRUE(FailingAllocation::happened());
    EXPECT_EQ(isEnabled, 1);
}

} // namespace
} // namespace keepsafe_test
