#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/platform/status/EC_exception.h>

#include "support/CacheWriter.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr int VIEW_BIT = 4;
constexpr int ROLE = 17;
const Grants NOTHING{};
const Grants VIEW{{ROLE, {VIEW_BIT}}};

class DiskAccessCheckerTest : public testing::Test {
protected:
    bool allowed(const ObjectNamespace& object, const std::set<int>& roles = {ROLE})
    {
        CacheWriter(model_, {}).write(dir_.path("cache"));
        return checker(roles).checkAccess(object);
    }

    DiskAccessChecker checker(const std::set<int>& roles)
    {
        return {boost::make_shared<const AccessCache>(Manifest("id", dir_.path("cache"))), roles,
                Operation{VIEW_BIT}, 0};
    }

    TempDir dir_;
    AccessModel model_;
};

TEST_F(DiskAccessCheckerTest, TheObjectsOwnBitAllows)
{
    model_.objects[ObjectNamespace("A")] = {true, VIEW, NOTHING};
    EXPECT_TRUE(allowed(ObjectNamespace("A")));
    EXPECT_FALSE(allowed(ObjectNamespace("A", "B")));
}

TEST_F(DiskAccessCheckerTest, AnObjectThatIsNotCachedTakesItsParentsChildBit)
{
    model_.objects[ObjectNamespace("A")] = {true, NOTHING, VIEW};
    EXPECT_TRUE(allowed(ObjectNamespace("A", "B")));
    EXPECT_TRUE(allowed(ObjectNamespace("A", "B", "C")));
    EXPECT_FALSE(allowed(ObjectNamespace("A")));
}

TEST_F(DiskAccessCheckerTest, AnObjectThatDoesNotInheritIsDeniedWhatItsParentGrants)
{
    model_.objects[ObjectNamespace("A")] = {true, NOTHING, VIEW};
    model_.objects[ObjectNamespace("A", "B")] = {false, NOTHING, NOTHING};
    EXPECT_FALSE(allowed(ObjectNamespace("A", "B")));
    EXPECT_FALSE(allowed(ObjectNamespace("A", "B", "C")));
    EXPECT_TRUE(allowed(ObjectNamespace("A", "X")));
}

TEST_F(DiskAccessCheckerTest, AnObjectThatDoesNotInheritStillHasItsOwnGrants)
{
    model_.objects[ObjectNamespace("A")] = {false, VIEW, VIEW};
    EXPECT_TRUE(allowed(ObjectNamespace("A")));
    EXPECT_TRUE(allowed(ObjectNamespace("A", "B")));
}

TEST_F(DiskAccessCheckerTest, TheObjectIsAskedBeforeItsParent)
{
    model_.objects[ObjectNamespace("A")] = {false, NOTHING, NOTHING};
    model_.objects[ObjectNamespace("A", "B")] = {true, VIEW, NOTHING};
    EXPECT_TRUE(allowed(ObjectNamespace("A", "B")));
}

TEST_F(DiskAccessCheckerTest, TheRootGrantsToEverythingThatInherits)
{
    model_.objects[ObjectNamespace()] = {true, NOTHING, VIEW};
    model_.objects[ObjectNamespace("A")] = {true, NOTHING, NOTHING};
    model_.objects[ObjectNamespace("A", "B")] = {true, NOTHING, NOTHING};
    EXPECT_TRUE(allowed(ObjectNamespace("A", "B")));
    EXPECT_TRUE(allowed(ObjectNamespace("X", "Y", "Z")));
    EXPECT_FALSE(allowed(ObjectNamespace()));
}

TEST_F(DiskAccessCheckerTest, TheRootItselfIsAskedForItsOwnBit)
{
    model_.objects[ObjectNamespace()] = {true, VIEW, NOTHING};
    EXPECT_TRUE(allowed(ObjectNamespace()));
    EXPECT_FALSE(allowed(ObjectNamespace("A")));
}

TEST_F(DiskAccessCheckerTest, OneGrantingRoleOfSeveralIsEnough)
{
    model_.objects[ObjectNamespace("A")] = {true, VIEW, NOTHING};
    EXPECT_TRUE(allowed(ObjectNamespace("A"), {-3, 5, ROLE, 99}));
    EXPECT_FALSE(allowed(ObjectNamespace("A"), {-3, 5, 99}));
}

TEST_F(DiskAccessCheckerTest, NoRolesMeansNo)
{
    model_.objects[ObjectNamespace()] = {true, VIEW, VIEW};
    EXPECT_FALSE(allowed(ObjectNamespace(), {}));
    EXPECT_FALSE(allowed(ObjectNamespace("A"), {}));
}

TEST_F(DiskAccessCheckerTest, RoleZeroIsAnOrdinaryRoleToTheCheckerItself)
{
    model_.objects[ObjectNamespace("A")] = {true, VIEW, NOTHING};
    EXPECT_FALSE(allowed(ObjectNamespace("A"), {0}));
}

TEST_F(DiskAccessCheckerTest, AnEmptyCacheDeniesEverything)
{
    EXPECT_FALSE(allowed(ObjectNamespace()));
    EXPECT_FALSE(allowed(ObjectNamespace("A")));
}

TEST_F(DiskAccessCheckerTest, NamesDeeperThanAnyListOfAncestorsAreDecidedTheSameWay)
{
    ObjectNamespace deep;
    for (int i = 0; i < 300; ++i) {
        deep = deep | "x";
        model_.objects[deep] = {true, NOTHING, NOTHING};
    }
    model_.objects[ObjectNamespace("x")].children = VIEW;
    EXPECT_TRUE(allowed(deep));
    EXPECT_FALSE(allowed(ObjectNamespace("x")));
    model_.objects[ObjectNamespace("x", "x", "x", "x")].inherit = false;
    EXPECT_FALSE(allowed(deep));
    EXPECT_TRUE(allowed(ObjectNamespace("x", "x", "x")));
}

TEST_F(DiskAccessCheckerTest, AnAncestorThatDoesNotInheritCutsOffWhateverTheDepth)
{
    // With more ancestors above and below it than a check keeps in one list.
    constexpr int DEPTH = 150;
    std::vector<ObjectNamespace> names{ObjectNamespace("x")};
    for (int i = 1; i < DEPTH; ++i) {
        names.push_back(names.back() | "x");
    }
    for (int barrier = 1; barrier + 1 < DEPTH; ++barrier) {
        for (const ObjectNamespace& name : names) {
            model_.objects[name] = {true, NOTHING, NOTHING};
        }
        model_.objects[names[static_cast<std::size_t>(barrier)]].inherit = false;
        model_.objects[names[static_cast<std::size_t>(barrier) - 1]].children = VIEW;
        CacheWriter(model_, {}).write(dir_.path("cache"));
        EXPECT_FALSE(checker({ROLE}).checkAccess(names.back())) << barrier;
        EXPECT_FALSE(checker({ROLE}).checkAccess(names.back() | "y")) << barrier;
        model_.objects[names[static_cast<std::size_t>(barrier)]].children = VIEW;
        CacheWriter(model_, {}).write(dir_.path("cache"));
        EXPECT_TRUE(checker({ROLE}).checkAccess(names.back())) << barrier;
    }
}

TEST_F(DiskAccessCheckerTest, DamageAboveCountsOnlyWhenNothingBelowItHasDecided)
{
    CacheWriter writer;
    const auto word = writer.add(bitsNode(0, std::uint32_t{1} << VIEW_BIT));
    const auto granting = writer.add(bitsNode(ROLE, word));
    constexpr std::uint32_t OUTSIDE = 24000;
    const auto root = writer.add(managedObject(true, 0, OUTSIDE));
    const auto closed = writer.add(managedObject(false, 0, 0));
    const auto granted = writer.add(managedObject(true, granting, 0));
    const auto open = writer.add(managedObject(true, 0, 0));
    const auto c = writer.add(segmentNode(0x437C0000, 0, 0, open, 0));
    const auto a = writer.add(segmentNode(0x417C0000, 0, 0, closed, 0));
    const auto b = writer.add(segmentNode(0x427C0000, a, c, granted, 0));
    writer.metadata.segmentRoot = writer.add(segmentNode(0x7C000000, 0, 0, root, b));
    writer.write(dir_.path("cache"));
    const DiskAccessChecker asked = checker({ROLE});
    EXPECT_FALSE(asked.checkAccess(ObjectNamespace("A")));
    EXPECT_TRUE(asked.checkAccess(ObjectNamespace("B")));
    const CapturedLog log;
    EXPECT_THROW((void)asked.checkAccess(ObjectNamespace("C")), EC_exception);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].text, "Cache | is damaged: nodes at offset 24000: offset outside the file");
}

TEST_F(DiskAccessCheckerTest, KeepsItsCacheAlive)
{
    model_.objects[ObjectNamespace("A")] = {true, VIEW, NOTHING};
    CacheWriter(model_, {}).write(dir_.path("cache"));
    const DiskAccessChecker kept = checker({ROLE});
    EXPECT_TRUE(kept.checkAccess(ObjectNamespace("A")));
}

TEST_F(DiskAccessCheckerTest, AnInterruptedWriteIsAnExceptionNotAnAnswer)
{
    CacheWriter writer(model_, {});
    writer.metadata.writeInProgress = 1;
    writer.write(dir_.path("cache"));
    const DiskAccessChecker broken = checker({ROLE});
    const CapturedLog log;
    EXPECT_EQ(thrownStatus([&] { (void)broken.checkAccess(ObjectNamespace("A")); }), 12);
}

} // namespace
} // namespace keepsafe_test
