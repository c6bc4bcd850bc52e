#include <keepsafe/rbac/questions/roles_and_operations.h>

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "rbac/questions/QuestionsTest.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AllowedRole;
using Tessara::Keepsafe::Rbac::findRoles;
using Tessara::Keepsafe::Rbac::GrantScope;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::OperationCache;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using Tessara::Keepsafe::Rbac::whatMay;
using Tessara::Keepsafe::Rbac::whoMay;
using testing::ElementsAre;
using testing::IsEmpty;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

class RolesAndOperationsTest : public testing::Test {
protected:
    RolesAndOperationsTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace()] = {true, {}, {{7, {4}}, {-3, {37}}}};
        model.objects[ObjectNamespace("A")] = {true, {{8, {4}}}, {{9, {4}}, {7, {4, 5}}}};
        model.objects[ObjectNamespace("A", "B")] = {true, {{9, {4}}, {-3, {4}}}, {{1, {4}}}};
        model.objects[ObjectNamespace("A", "CUT")] = {false, {{2, {5}}}, {}};
        root_.open(model);
    }

    /// `ROLE: PLACE...` for each role.
    std::vector<std::string> who(const ObjectNamespace& operation, const ObjectNamespace& object)
    {
        std::vector<std::string> lines;
        for (const AllowedRole& role : whoMay(root_.client(), operation, object).roles) {
            std::string line = std::to_string(role.roleId) + ":";
            for (const auto& grant : role.grants) {
                line += (grant.scope == GrantScope::OnObject ? " on " : " below ") + grant.object.str();
            }
            lines.push_back(line);
        }
        return lines;
    }

    std::vector<std::string> what(const std::set<int>& roles, const ObjectNamespace& object)
    {
        std::vector<std::string> texts;
        for (const ObjectNamespace& operation : whatMay(root_.client(), roles, object).operations) {
            texts.push_back(operation.str());
        }
        return texts;
    }

    QuestionsRoot root_{
        R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 5, "|OPERATIONS|AUDIT|": 37, "|OPERATIONS|A+B|": 4,
            "|OPERATIONS|A|": 5})"};
};

TEST_F(RolesAndOperationsTest, RolesAreAscendingWithTheirNearestGrantFirst)
{
    EXPECT_THAT(who(operations::VIEW, ObjectNamespace("A", "B")),
                ElementsAre("-3: on |A|B|", "7: below |A| below |", "9: on |A|B| below |A|"));
}

TEST_F(RolesAndOperationsTest, ARoleOnlyBehindAnObjectThatDoesNotInheritIsNoneOfThem)
{
    EXPECT_THAT(who(operations::VIEW, ObjectNamespace("A", "CUT")), IsEmpty());
    EXPECT_THAT(who(operations::ADD, ObjectNamespace("A", "CUT")), ElementsAre("2: on |A|CUT|"));
    EXPECT_THAT(who(operations::ADD, ObjectNamespace("A", "CUT", "X")), IsEmpty());
}

TEST_F(RolesAndOperationsTest, AnObjectThatTheCacheDoesNotHoldHasTheRolesOfThoseAboveIt)
{
    EXPECT_THAT(who(operations::VIEW, ObjectNamespace("A", "X")),
                ElementsAre("7: below |A| below |", "9: below |A|"));
}

TEST_F(RolesAndOperationsTest, NobodyMayDoWhatIsUnknown)
{
    const CapturedLog log(17);
    EXPECT_THAT(who(ObjectNamespace("OPERATIONS", "NONE"), ObjectNamespace("A")), IsEmpty());
}

TEST_F(RolesAndOperationsTest, OperationsAreInTheOrderOfTheirBytes)
{
    EXPECT_THAT(what({7}, ObjectNamespace("A", "B")),
                ElementsAre("|OPERATIONS|A+B|", "|OPERATIONS|ADD|", "|OPERATIONS|A|", "|OPERATIONS|VIEW|"));
}

TEST_F(RolesAndOperationsTest, OperationsOfSeveralRolesAreJoined)
{
    EXPECT_THAT(what({-3, 8}, ObjectNamespace("A")),
                ElementsAre("|OPERATIONS|A+B|", "|OPERATIONS|AUDIT|", "|OPERATIONS|VIEW|"));
}

TEST_F(RolesAndOperationsTest, WithoutRolesThereIsNoOperationAndWithRole0EachKnownOne)
{
    EXPECT_THAT(what({}, ObjectNamespace("A")), IsEmpty());
    EXPECT_EQ(what({0}, ObjectNamespace("A", "CUT")).size(), 5U);
}

TEST_F(RolesAndOperationsTest, AnOperationThatTheFileGainsIsFound)
{
    EXPECT_EQ(what({0}, ObjectNamespace()).size(), 5U);
    writeFile(OperationCache::fileName(), R"({"|OPERATIONS|NEW|": 90})");
    EXPECT_EQ(what({0}, ObjectNamespace()).size(), 6U);
}

TEST_F(RolesAndOperationsTest, WithoutEnforcementTheAnswersAreEverybodyAndEverything)
{
    StubAccessControlClient stub;
    EXPECT_TRUE(whoMay(stub, operations::VIEW, ObjectNamespace()).everybody);
    EXPECT_TRUE(whatMay(stub, {}, ObjectNamespace()).everything);
    std::set<int> roles{1};
    EXPECT_EQ(findRoles(stub, nullptr, "no token", roles), 0);
    EXPECT_THAT(roles, IsEmpty());
}

TEST_F(RolesAndOperationsTest, ATokenThatIsNotAcceptedLeavesTheRolesAsTheyWere)
{
    const CapturedLog log(17);
    std::set<int> roles{1};
    EXPECT_NE(findRoles(root_.client(), nullptr, "no token", roles), 0);
    EXPECT_THAT(roles, ElementsAre(1));
}

} // namespace
} // namespace keepsafe_test
