#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include <memory>
#include <set>

#include <boost/shared_ptr.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/namespace/root_namespaces.h>

namespace {

using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

TEST(StubAccessControlClient, AllowsEverythingToAnEmptySetOfRoles)
{
    StubAccessControlClient client;
    boost::shared_ptr<const AccessChecker> checker;
    EXPECT_EQ(client.createAccessChecker(std::set<int>(), operations::VIEW, 0, checker), 0);
    ASSERT_TRUE(checker);
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace()));
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("KEEPSAFE", "anything")));
}

TEST(StubAccessControlClient, AllowsOperationsThatDoNotExist)
{
    StubAccessControlClient client;
    boost::shared_ptr<const AccessChecker> checker;
    EXPECT_EQ(client.createAccessChecker({17}, ObjectNamespace("no", "such"), 7, checker), 0);
    ASSERT_TRUE(checker);
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("A")));
}

TEST(StubAccessControlClient, NeverTouchesTheConnectionManagerOrTheToken)
{
    StubAccessControlClient client;
    boost::shared_ptr<const AccessChecker> checker;
    EXPECT_EQ(client.createAccessChecker(nullptr, "no token", operations::VIEW, 0, checker), 0);
    ASSERT_TRUE(checker);
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("A")));
}

TEST(StubAccessControlClient, ReplacesTheCheckerThatWasThere)
{
    StubAccessControlClient client;
    boost::shared_ptr<const AccessChecker> checker;
    ASSERT_EQ(client.createAccessChecker({1}, operations::VIEW, 0, checker), 0);
    const auto before = checker;
    ASSERT_EQ(client.createAccessChecker({1}, operations::VIEW, 0, checker), 0);
    EXPECT_NE(checker, before);
}

TEST(StubAccessControlClient, ItsCheckersOutliveIt)
{
    boost::shared_ptr<const AccessChecker> checker;
    ASSERT_EQ(
        std::make_unique<StubAccessControlClient>()->createAccessChecker({1}, operations::VIEW, 0, checker),
        0);
    EXPECT_TRUE(checker->checkAccess(ObjectNamespace("A")));
}

} // namespace
