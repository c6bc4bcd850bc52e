#include <keepsafe/rbac/namespace/root_namespaces.h>

#include <string>

#include <gtest/gtest.h>

namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
namespace roots = Tessara::Keepsafe::Rbac::root_namespaces;

TEST(RootNamespaces, HaveOneComponentNamedLikeTheConstant)
{
    EXPECT_EQ(roots::KEEPSAFE.str(), "|KEEPSAFE|");
    EXPECT_EQ(roots::SECURITY.str(), "|SECURITY|");
    EXPECT_EQ(roots::MANAGE.str(), "|MANAGE|");
    EXPECT_EQ(roots::PROTECTION.str(), "|PROTECTION|");
    EXPECT_EQ(roots::STORAGE.str(), "|STORAGE|");
    EXPECT_EQ(roots::DEPLOYMENT.str(), "|DEPLOYMENT|");
    EXPECT_EQ(roots::OBJECT_TYPES.str(), "|OBJECT_TYPES|");
    EXPECT_EQ(roots::ASSETS.str(), "|ASSETS|");
}

TEST(RootNamespaces, OperationsLieUnderOneComponent)
{
    EXPECT_EQ(roots::operations::VIEW.str(), "|OPERATIONS|VIEW|");
    EXPECT_EQ(roots::operations::ADD.str(), "|OPERATIONS|ADD|");
    EXPECT_EQ(roots::operations::UPDATE.str(), "|OPERATIONS|UPDATE|");
    EXPECT_EQ(roots::operations::MANAGE_ACCESS.str(), "|OPERATIONS|MANAGE_ACCESS|");
}

TEST(RootNamespaces, TheSuffixOfDeleteNsIsNotInTheText)
{
    EXPECT_EQ(roots::operations::DELETE_NS.str(), "|OPERATIONS|DELETE|");
    EXPECT_EQ(roots::operations::DELETE_NS, ObjectNamespace("OPERATIONS", "DELETE"));
}

} // namespace
