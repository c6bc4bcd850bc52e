#include <keepsafe/rbac/questions/explain.h>

#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>
#include <keepsafe/rbac/namespace/root_namespaces.h>

#include "rbac/questions/QuestionsTest.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::Explainer;
using Tessara::Keepsafe::Rbac::Explanation;
using Tessara::Keepsafe::Rbac::GrantPlace;
using Tessara::Keepsafe::Rbac::GrantScope;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PathStep;
using Tessara::Keepsafe::Rbac::reasonName;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using testing::ElementsAre;
using testing::IsEmpty;
namespace operations = Tessara::Keepsafe::Rbac::root_namespaces::operations;

std::string rolesText(const std::vector<int>& roles)
{
    std::string text;
    for (const int role : roles) {
        text += (text.empty() ? "" : ",") + std::to_string(role);
    }
    return text;
}

/// The object, then what holds of it: absent, cut, counting scope, and roles by scope.
std::vector<std::string> texts(const std::vector<PathStep>& path)
{
    std::vector<std::string> lines;
    for (const PathStep& step : path) {
        lines.push_back(step.object.str() + (step.isCached ? "" : " absent") + (step.inherits ? "" : " cut") +
                        (step.countingScope == GrantScope::OnObject ? " own" : " child") + " [" +
                        rolesText(step.rolesOnObject) + "] [" + rolesText(step.rolesOnChildren) + "]");
    }
    return lines;
}

std::vector<std::string> texts(const std::vector<GrantPlace>& places)
{
    std::vector<std::string> lines;
    for (const GrantPlace& place : places) {
        lines.push_back((place.scope == GrantScope::OnObject ? "on " : "below ") + place.object.str());
    }
    return lines;
}

/// Role 1 holds VIEW below |A|, role 2 on |A|B|, which does not inherit; |A|B|C|D| is there, |A|B|C| is not.
class ExplainTest : public testing::Test {
protected:
    ExplainTest()
    {
        AccessModel model;
        model.objects[ObjectNamespace()] = {true, {}, {}};
        model.objects[ObjectNamespace("A")] = {true, {{3, {4}}}, {{1, {4}}}};
        model.objects[ObjectNamespace("A", "B")] = {false, {{2, {4}}, {5, {4}}}, {{6, {4}}}};
        model.objects[ObjectNamespace("A", "B", "C", "D")] = {true, {}, {{2, {4}}}};
        root_.open(model);
    }

    Explanation explain(const std::set<int>& roles, const ObjectNamespace& object,
                        const ObjectNamespace& operation = operations::VIEW)
    {
        const Explainer explainer(root_.client(), roles, operation);
        Explanation explanation = explainer.explain(object);
        const auto verdict = explainer.verdict(object);
        EXPECT_EQ(verdict.isAllowed, explanation.verdict.isAllowed);
        EXPECT_EQ(verdict.reason, explanation.verdict.reason);
        return explanation;
    }

    static std::string outcome(const Explanation& explanation)
    {
        return std::string(explanation.verdict.isAllowed ? "allowed: " : "denied: ") +
               reasonName(explanation.verdict.reason);
    }

    QuestionsRoot root_{R"({"|OPERATIONS|VIEW|": 4, "|OPERATIONS|ADD|": 5})"};
};

TEST_F(ExplainTest, AGrantOnTheObjectIsShownWithTheRolesThatHaveIt)
{
    const Explanation answer = explain({2, 5, 9}, ObjectNamespace("A", "B"));
    EXPECT_EQ(outcome(answer), "allowed: granted");
    EXPECT_THAT(texts(answer.path), ElementsAre("|A|B| cut own [2,5] []"));
    EXPECT_THAT(answer.wouldAllow, IsEmpty());
}

TEST_F(ExplainTest, AGrantOfAnAncestorIsShownWithTheWayToIt)
{
    const Explanation answer = explain({1, 3}, ObjectNamespace("A", "X", "Y"));
    EXPECT_EQ(outcome(answer), "allowed: granted-by-ancestor");
    EXPECT_THAT(texts(answer.path),
                ElementsAre("|A|X|Y| absent own [] []", "|A|X| absent child [] []", "|A| child [3] [1]"));
}

TEST_F(ExplainTest, WhereInheritanceEndsTheWayEndsAndEachOfItsGrantsWouldAllow)
{
    const Explanation answer = explain({1, 2}, ObjectNamespace("A", "B", "C", "D"));
    EXPECT_EQ(outcome(answer), "denied: inheritance-off");
    EXPECT_THAT(texts(answer.path),
                ElementsAre("|A|B|C|D| own [] [2]", "|A|B|C| absent child [] []", "|A|B| cut child [2] []"));
    EXPECT_THAT(texts(answer.wouldAllow), ElementsAre("on |A|B|C|D|", "below |A|B|C|", "below |A|B|"));
}

TEST_F(ExplainTest, WithoutAnyGrantTheWayLeadsToTheRoot)
{
    const Explanation answer = explain({3}, ObjectNamespace("A", "X"));
    EXPECT_EQ(outcome(answer), "denied: not-granted");
    EXPECT_THAT(texts(answer.path),
                ElementsAre("|A|X| absent own [] []", "|A| child [3] []", "| child [] []"));
    EXPECT_THAT(texts(answer.wouldAllow), ElementsAre("on |A|X|", "below |A|", "below |"));
}

TEST_F(ExplainTest, TheRootIsAskedForItsOwnGrants)
{
    const Explanation answer = explain({1}, ObjectNamespace());
    EXPECT_EQ(outcome(answer), "denied: not-granted");
    EXPECT_THAT(texts(answer.path), ElementsAre("| own [] []"));
    EXPECT_THAT(texts(answer.wouldAllow), ElementsAre("on |"));
}

TEST_F(ExplainTest, ACallerWithoutRolesIsToldSo)
{
    const Explanation answer = explain({}, ObjectNamespace("A"));
    EXPECT_EQ(outcome(answer), "denied: no-roles");
    EXPECT_THAT(texts(answer.path), ElementsAre("|A| own [] []", "| child [] []"));
    EXPECT_THAT(texts(answer.wouldAllow), ElementsAre("on |A|", "below |"));
}

TEST_F(ExplainTest, Role0IsAllowedWithoutAsking)
{
    const Explanation answer = explain({0, 1}, ObjectNamespace("A"));
    EXPECT_EQ(outcome(answer), "allowed: role-0");
    EXPECT_THAT(answer.path, IsEmpty());
}

TEST_F(ExplainTest, AnUnknownOperationOutranksRole0)
{
    const CapturedLog log(17);
    const Explanation answer = explain({0}, ObjectNamespace("A"), ObjectNamespace("OPERATIONS", "NONE"));
    EXPECT_EQ(outcome(answer), "denied: unknown-operation");
    EXPECT_THAT(answer.path, IsEmpty());
    EXPECT_THAT(answer.wouldAllow, IsEmpty());
}

TEST_F(ExplainTest, WithoutEnforcementEverythingIsAllowed)
{
    StubAccessControlClient stub;
    const Explanation answer = Explainer(stub, {}, ObjectNamespace("none")).explain(ObjectNamespace("A"));
    EXPECT_EQ(outcome(answer), "allowed: enforcement-off");
    EXPECT_THAT(answer.path, IsEmpty());
}

TEST_F(ExplainTest, OutlivesTheClient)
{
    const Explainer explainer(root_.client(), {2}, operations::VIEW);
    root_.open();
    EXPECT_TRUE(explainer.verdict(ObjectNamespace("A", "B")).isAllowed);
}

TEST_F(ExplainTest, ANameDeeperThanUsualIsExplained)
{
    AccessModel model;
    ObjectNamespace name;
    model.objects[name] = {true, {}, {{1, {4}}}};
    for (int depth = 0; depth < 200; ++depth) {
        name = name | "d";
        model.objects[name] = {};
    }
    root_.open(model);
    const Explanation answer = explain({1}, name);
    EXPECT_EQ(outcome(answer), "allowed: granted-by-ancestor");
    EXPECT_EQ(answer.path.size(), 201U);
}

TEST_F(ExplainTest, AnInterruptedWriteIsStatus12AsForACheck)
{
    CacheWriter cache;
    cache.metadata.writeInProgress = 1;
    root_.write(cache);
    const CapturedLog log(17);
    const Explainer explainer(root_.open(), {1}, operations::VIEW);
    for (const bool inFull : {false, true}) {
        EXPECT_EQ(thrownStatus([&] {
                      static_cast<void>(inFull ? explainer.explain(ObjectNamespace("A")).verdict
                                               : explainer.verdict(ObjectNamespace("A")));
                  }),
                  12);
    }
}

class OtherClient : public Tessara::Keepsafe::Rbac::DiskAccessControlClient {
public:
    using DiskAccessControlClient::DiskAccessControlClient;
};

TEST_F(ExplainTest, AClientOfAnotherClassIsRefused)
{
    OtherClient other({}, root_.client().accessCache(), root_.client().operationCache());
    const CapturedLog log(17);
    EXPECT_THROW(Explainer(other, {1}, operations::VIEW), EC_exception);
}

} // namespace
} // namespace keepsafe_test
