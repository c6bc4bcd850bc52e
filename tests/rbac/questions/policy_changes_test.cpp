#include <keepsafe/rbac/questions/policy_changes.h>

#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::CachePolicySource;
using Tessara::Keepsafe::Rbac::comparePolicies;
using Tessara::Keepsafe::Rbac::GrantedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PolicyChange;
using Tessara::Keepsafe::Rbac::PolicySource;
using Tessara::Keepsafe::Rbac::RoleWord;
using Tessara::Keepsafe::Rbac::RoleWords;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using Tessara::Keepsafe::Rbac::WalkLocking;
using Tessara::Keepsafe::Rbac::WantedChanges;
using testing::ElementsAre;
using testing::IsEmpty;

/// "KIND OBJECT SCOPE ROLE BIT".
std::string textOf(const PolicyChange& change)
{
    static const std::vector<std::string> KINDS{"added",   "removed",     "inherit",    "granted",
                                                "revoked", "now-allowed", "now-denied", "as-before"};
    static const std::vector<std::string> SCOPES{"object", "children", "both"};
    const auto kind = static_cast<std::size_t>(change.kind);
    std::string text = KINDS[kind] + ' ' + std::string(change.object);
    if (change.kind == PolicyChange::Kind::InheritTurned) {
        return text + (change.inherits ? " on" : " off");
    }
    if (kind < 2) {
        return text;
    }
    return text + ' ' + SCOPES[static_cast<std::size_t>(change.scope)] + ' ' + std::to_string(change.roleId) +
           ' ' + std::to_string(change.operation.offset);
}

class PolicyChangesTest : public testing::Test {
protected:
    std::vector<std::string> changes(const WantedChanges& wanted)
    {
        const auto before = disk_.publish(before_, {}, "before");
        const auto after = disk_.publish(after_, {}, "after");
        CachePolicySource first(*before);
        CachePolicySource second(*after);
        std::vector<std::string> texts;
        EXPECT_TRUE(comparePolicies(first, second, wanted, [&texts](const PolicyChange& change) {
            texts.push_back(textOf(change));
            return true;
        }));
        return texts;
    }
    std::vector<std::string> contents() { return changes({true, false}); }
    std::vector<std::string> decisions() { return changes({false, true}); }

    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
    AccessModel before_;
    AccessModel after_;
};

TEST_F(PolicyChangesTest, EqualPoliciesHaveNone)
{
    before_.objects[ObjectNamespace("A")] = {false, {{3, {1, 40}}}, {{-4, {BIT}}}};
    after_ = before_;
    EXPECT_THAT(changes({}), IsEmpty());
}

TEST_F(PolicyChangesTest, NamesObjectsInheritanceAndGrants)
{
    before_.objects[ObjectNamespace("A")] = {true, {{3, {1}}}, {}};
    before_.objects[ObjectNamespace("B")] = {true, {{3, {1, 2}}}, {}};
    after_.objects[ObjectNamespace("B")] = {false, {{3, {2}}}, {{4, {7}}}};
    after_.objects[ObjectNamespace("C")] = {true, {{5, {40}}}, {{5, {40}}}};
    EXPECT_THAT(contents(), ElementsAre("removed |A|", "revoked |A| object 3 1", "inherit |B| off",
                                        "granted |B| children 4 7", "revoked |B| object 3 1", "added |C|",
                                        "granted |C| both 5 40"));
}

TEST_F(PolicyChangesTest, AChangeForEverythingBelowIsOneDecision)
{
    before_.objects[ROOT] = {true, {}, {{17, {BIT}}}};
    after_.objects[ROOT] = {true, {}, {}};
    for (AccessModel* model : {&before_, &after_}) {
        for (int i = 0; i < 20; ++i) {
            model->objects[ObjectNamespace("VMS", std::to_string(i))] = {true, {{3, {1}}}, {}};
        }
    }
    EXPECT_THAT(decisions(), ElementsAre("now-denied | children 17 5"));
}

TEST_F(PolicyChangesTest, WhatAChangeFurtherUpDoesNotReachIsAsBefore)
{
    before_.objects[ROOT] = {true, {}, {{17, {BIT}}}};
    after_.objects[ROOT] = {true, {}, {}};
    for (AccessModel* model : {&before_, &after_}) {
        model->objects[ObjectNamespace("closed")] = {false, {}, {}};
        model->objects[ObjectNamespace("granted")] = {true, {{17, {BIT}}}, {}};
    }
    EXPECT_THAT(decisions(), ElementsAre("now-denied | children 17 5", "as-before |closed| both 17 5",
                                         "as-before |granted| object 17 5"));
}

TEST_F(PolicyChangesTest, AGrantThatWasThereByAnotherWayChangesNoDecision)
{
    before_.objects[ROOT] = {true, {}, {{17, {BIT}}}};
    before_.objects[ObjectNamespace("A")] = {true, {}, {}};
    after_ = before_;
    after_.objects[ObjectNamespace("A")].own = {{17, {BIT}}, {0, {BIT}}};
    EXPECT_THAT(decisions(), IsEmpty());
    EXPECT_THAT(contents(), ElementsAre("granted |A| object 0 5", "granted |A| object 17 5"));
}

TEST_F(PolicyChangesTest, TheReceiverMayEndIt)
{
    before_.objects[ObjectNamespace("A")] = {true, {{3, {1, 2}}}, {}}; // three changes
    before_.objects[ObjectNamespace("B")] = {};
    const auto before = disk_.publish(before_, {}, "before");
    const auto after = disk_.publish(after_, {}, "after");
    CachePolicySource first(*before);
    CachePolicySource second(*after);
    int received = 0;
    EXPECT_FALSE(comparePolicies(first, second, {}, [&received](const PolicyChange& /*change*/) {
        ++received;
        return false;
    }));
    EXPECT_EQ(received, 1);
}

TEST_F(PolicyChangesTest, ManyObjectsKeepTheirOwnGrantsInOneState)
{
    constexpr int OBJECTS = 1100; // more role trees than are remembered
    for (int role = 1; role <= OBJECTS; ++role) {
        before_.objects[ObjectNamespace(std::to_string(role))] = {true, {{role, {BIT}}}, {}};
    }
    const auto client = disk_.publish(before_, {});
    CachePolicySource source(*client, WalkLocking::OneState);
    GrantedObject object;
    int met = 0;
    for (; source.next(object); ++met) {
        const int role = std::stoi(object.name.substr(1));
        EXPECT_EQ(object.onObject, (RoleWords{{role, 0, 1U << static_cast<unsigned>(BIT)}})) << object.name;
    }
    EXPECT_EQ(met, OBJECTS);
}

TEST_F(PolicyChangesTest, WithoutEnforcementThereIsNoPolicyToRead)
{
    const CapturedLog log;
    StubAccessControlClient stub;
    EXPECT_EQ(thrownStatus([&stub] { const CachePolicySource source(stub); }), 20);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "CachePolicySource",
                                                 "Without enforcement there is no cache to read"}));
}

TEST(RoleWord, OfOtherOperationsIsAnother)
{
    const RoleWord word{7, 0, 1};
    EXPECT_EQ(word, (RoleWord{7, 0, 1}));
    EXPECT_FALSE(word == (RoleWord{7, 1, 1}));
    EXPECT_FALSE(word == (RoleWord{7, 0, 2}));
}

class Listed : public PolicySource {
public:
    explicit Listed(std::vector<std::string> names) : names_(std::move(names)) {}
    bool next(GrantedObject& object) override
    {
        if (taken_ == names_.size()) {
            return false;
        }
        object = {names_[taken_++], true, {}, {}};
        return true;
    }

private:
    std::vector<std::string> names_;
    std::size_t taken_ = 0;
};

TEST_F(PolicyChangesTest, ASourceOutOfOrderIsRefused)
{
    const auto ignore = [](const PolicyChange& /*change*/) { return true; };
    for (const std::vector<std::string>& names : {std::vector<std::string>{"|b|", "|a|"}, {"|a|", "|a|"}}) {
        Listed good({"|a|"});
        Listed bad(names);
        EXPECT_EQ(thrownStatus([&] { comparePolicies(good, bad, {}, ignore); }), 20);
    }
}

} // namespace
} // namespace keepsafe_test
