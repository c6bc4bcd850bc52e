#include <keepsafe/rbac/client/AccessChecker.h>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::ConstantAccessChecker;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

TEST(ConstantAccessChecker, AnswersTheSameForEveryNamespace)
{
    const ConstantAccessChecker<true> allow;
    const ConstantAccessChecker<false> deny;
    for (const ObjectNamespace& object :
         {ObjectNamespace(), ObjectNamespace("A"), ObjectNamespace("A", "")}) {
        EXPECT_TRUE(static_cast<const AccessChecker&>(allow).checkAccess(object));
        EXPECT_FALSE(static_cast<const AccessChecker&>(deny).checkAccess(object));
    }
}

} // namespace
