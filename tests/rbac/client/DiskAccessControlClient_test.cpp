#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include <cstring>
#include <memory>
#include <set>
#include <string>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using testing::ElementsAre;
using testing::IsEmpty;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

constexpr char TAG[] = "DiskAccessControlClient::createAccessChecker";

class DiskAccessControlClientTest : public testing::Test {
protected:
    DiskAccessControlClientTest()
    {
        writeFile(OperationCache::fileName(), R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 5})");
        AccessModel model;
        model.objects[ObjectNamespace("A")].own[17] = {4};
        CacheWriter(model, {}).write(root_.path("cache"));
        client_ = std::make_unique<DiskAccessControlClient>(
            ObjectNamespace(), boost::make_shared<const AccessCache>(Manifest("id", root_.path("cache"))),
            operationCache_);
        operationCache_.load();
    }

    TempRoot root_;
    OperationCache operationCache_;
    std::unique_ptr<DiskAccessControlClient> client_;
    boost::shared_ptr<const AccessChecker> checker_;
};

TEST_F(DiskAccessControlClientTest, MakesACheckerThatAnswersFromTheCache)
{
    EXPECT_EQ(client_->createAccessChecker({17}, operations::VIEW, 1, checker_), 0);
    ASSERT_TRUE(checker_);
    EXPECT_TRUE(checker_->checkAccess(ObjectNamespace("A")));
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("B")));
}

TEST_F(DiskAccessControlClientTest, KeepsTheReservedNumberInTheChecker)
{
    for (const int reserved : {0x5EED0123, -77}) {
        ASSERT_EQ(client_->createAccessChecker({17}, operations::VIEW, reserved, checker_), 0);
        const auto* checker = dynamic_cast<const DiskAccessChecker*>(checker_.get());
        ASSERT_NE(checker, nullptr);
        EXPECT_NE(memmem(checker, sizeof *checker, &reserved, sizeof reserved), nullptr)
            << "nobody asks for it";
    }
}

TEST_F(DiskAccessControlClientTest, EachOperationHasItsOwnBit)
{
    EXPECT_EQ(client_->createAccessChecker({17}, operations::ADD, 0, checker_), 0);
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("A")));
}

TEST_F(DiskAccessControlClientTest, AnUnknownOperationIsDeniedEverywhereWithStatusZero)
{
    const CapturedLog log(16);
    EXPECT_EQ(client_->createAccessChecker({17, 0}, ObjectNamespace("OPERATIONS", "NONE"), 0, checker_), 0);
    ASSERT_TRUE(checker_);
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("A")));
    for (const LogLine& line : log.lines()) {
        EXPECT_NE(line.tag, TAG);
    }
}

TEST_F(DiskAccessControlClientTest, RoleZeroIsAllowedEverything)
{
    EXPECT_EQ(client_->createAccessChecker({0, 99}, operations::VIEW, 0, checker_), 0);
    ASSERT_TRUE(checker_);
    EXPECT_TRUE(checker_->checkAccess(ObjectNamespace("A")));
    EXPECT_TRUE(checker_->checkAccess(ObjectNamespace("absent", "from", "cache")));
}

TEST_F(DiskAccessControlClientTest, AnEmptySetOfRolesIsDenied)
{
    EXPECT_EQ(client_->createAccessChecker(std::set<int>(), operations::VIEW, 0, checker_), 0);
    ASSERT_TRUE(checker_);
    EXPECT_FALSE(checker_->checkAccess(ObjectNamespace("A")));
}

TEST_F(DiskAccessControlClientTest, AnOperationCacheThatCannotBeReadGivesItsStatus)
{
    ASSERT_EQ(client_->createAccessChecker({17}, operations::VIEW, 0, checker_), 0);
    const auto before = checker_;
    writeFile(OperationCache::fileName(), "nonsense");
    const CapturedLog log(16);
    EXPECT_EQ(client_->createAccessChecker({17}, operations::UPDATE, 0, checker_), 13);
    EXPECT_EQ(checker_, before);
    EXPECT_THAT(log.lines(),
                ElementsAre(testing::Field(&LogLine::tag, "OperationCache::load"),
                            LogLine{16, TAG, "Failed to convert operation to offset/mask, error=13"}));
}

TEST_F(DiskAccessControlClientTest, OtherExceptionsOfTheOperationCachePassThrough)
{
    writeFile(OperationCache::fileName(), R"({"no namespace": 1})");
    EXPECT_THROW((void)client_->createAccessChecker({17}, operations::UPDATE, 0, checker_),
                 boost::bad_lexical_cast);
    EXPECT_FALSE(checker_);
}

TEST_F(DiskAccessControlClientTest, ItsCheckersOutliveIt)
{
    ASSERT_EQ(client_->createAccessChecker({17}, operations::VIEW, 0, checker_), 0);
    client_.reset();
    EXPECT_TRUE(checker_->checkAccess(ObjectNamespace("A")));
}

} // namespace
} // namespace keepsafe_test
