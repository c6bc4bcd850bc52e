// Differences of random policies against maps and sets, and the contents that they are made of.

#include <keepsafe/rbac/questions/policy_changes.h>

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <utility>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::CachePolicySource;
using Tessara::Keepsafe::Rbac::comparePolicies;
using Tessara::Keepsafe::Rbac::GrantedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PolicyChange;
using Tessara::Keepsafe::Rbac::RoleWord;
using Tessara::Keepsafe::Rbac::RoleWords;
using Tessara::Keepsafe::Rbac::WalkLocking;

Grants grantsOf(const RoleWords& words)
{
    Grants grants;
    for (const RoleWord& word : words) {
        for (unsigned bit = 0; bit < 32; ++bit) {
            if ((word.bits >> bit & 1U) != 0) {
                grants[word.roleId].insert(word.operation(bit).offset);
            }
        }
    }
    return grants;
}

/// Decisions as the changes tell them.
class ToldDecisions {
public:
    void add(const PolicyChange& change)
    {
        using Scope = PolicyChange::Scope;
        const auto key = std::make_pair(change.roleId, change.operation.offset);
        if (change.scope != Scope::OnChildren) {
            EXPECT_TRUE(onObject_[std::string(change.object)].emplace(key, change.kind).second);
        }
        if (change.scope != Scope::OnObject) {
            EXPECT_TRUE(onChildren_[std::string(change.object)].emplace(key, change.kind).second);
        }
    }

    /// What is reported for a role and a bit on a name: 1 allowed now, -1 denied now, 0 as before.
    [[nodiscard]] int told(const ObjectNamespace& name, int role, std::int32_t bit) const
    {
        if (const int* found = find(onObject_, name.str(), {role, bit})) {
            return *found;
        }
        for (auto above = name.parentNamespace(); above; above = above->parentNamespace()) {
            if (const int* found = find(onChildren_, above->str(), {role, bit})) {
                return *found;
            }
        }
        return 0;
    }

private:
    using Key = std::pair<int, std::int32_t>;
    using Table = std::map<std::string, std::map<Key, PolicyChange::Kind>>;

    static const int* find(const Table& table, const std::string& name, const Key& key)
    {
        static const int VALUES[] = {0, 1, -1};
        const auto object = table.find(name);
        if (object == table.end() || object->second.count(key) == 0) {
            return nullptr;
        }
        const PolicyChange::Kind kind = object->second.at(key);
        return &VALUES[kind == PolicyChange::Kind::NowAllowed  ? 1
                       : kind == PolicyChange::Kind::NowDenied ? 2
                                                               : 0];
    }

    Table onObject_;
    Table onChildren_;
};

/// Turns one model into the other.
void apply(const PolicyChange& change, AccessModel& model)
{
    using Kind = PolicyChange::Kind;
    using Scope = PolicyChange::Scope;
    const auto name = boost::lexical_cast<ObjectNamespace>(change.object);
    if (change.kind == Kind::ObjectAdded) {
        EXPECT_TRUE(model.objects.emplace(name, ModelObject{change.inherits, {}, {}}).second);
    } else if (change.kind == Kind::ObjectRemoved) {
        EXPECT_EQ(model.objects.erase(name), 1U);
    } else if (change.kind == Kind::InheritTurned) {
        EXPECT_NE(std::exchange(model.objects.at(name).inherit, change.inherits), change.inherits);
    } else if (model.objects.count(name) != 0) {
        ModelObject& object = model.objects.at(name);
        const auto turn = [&change](Grants& grants) {
            std::set<std::int32_t>& bits = grants[change.roleId];
            EXPECT_EQ(change.kind == Kind::Granted ? bits.insert(change.operation.offset).second
                                                   : bits.erase(change.operation.offset) == 1,
                      true);
            if (bits.empty()) {
                grants.erase(change.roleId);
            }
        };
        if (change.scope != Scope::OnChildren) {
            turn(object.own);
        }
        if (change.scope != Scope::OnObject) {
            turn(object.children);
        }
    }
}

class ChangesReference {
public:
    /// A policy against another that has grown out of it.
    void compare(std::uint32_t seed)
    {
        RandomPolicy policy(seed);
        const AccessModel before = policy.model;
        change(policy);
        const auto earlier = disk_.publish(before, policy.options, "before");
        const auto later = disk_.publish(policy.model, policy.options, "after");
        CachePolicySource first(*earlier);
        CachePolicySource second(*later, WalkLocking::OneState);
        ToldDecisions told;
        AccessModel rebuilt = before;
        comparePolicies(first, second, {}, [&](const PolicyChange& change) {
            if (change.kind >= PolicyChange::Kind::NowAllowed) {
                told.add(change);
            } else {
                apply(change, rebuilt);
            }
            return true;
        });
        EXPECT_TRUE(isSame(rebuilt, policy.model)) << "policy " << seed;
        askAll(policy, before, told);
    }

    long asked = 0;
    long changed = 0;

private:
    static void change(RandomPolicy& policy)
    {
        for (std::uint32_t count = policy.below(8); count > 0; --count) {
            const ObjectNamespace name = policy.askedName();
            if (policy.below(3) == 0) {
                policy.model.objects.erase(name);
            } else {
                policy.model.objects[name] = policy.anyObject();
            }
        }
    }

    void askAll(RandomPolicy& policy, const AccessModel& before, const ToldDecisions& told)
    {
        for (int i = 0; i < QUESTIONS; ++i) {
            const ObjectNamespace name = policy.askedName();
            const int role = policy.anyOf(RandomPolicy::someRoles());
            const std::int32_t bit = policy.anyOf(RandomPolicy::someBits());
            const bool was = role == 0 || before.isAllowed({role}, bit, name);
            const bool is = role == 0 || policy.model.isAllowed({role}, bit, name);
            EXPECT_EQ(told.told(name, role, bit), int{is} - int{was}) << name << ' ' << role << ' ' << bit;
            changed += is != was ? 1 : 0;
            ++asked;
        }
    }

    static bool isSame(const AccessModel& left, const AccessModel& right)
    {
        const auto same = [](const auto& l, const auto& r) {
            return l.first == r.first && l.second.inherit == r.second.inherit &&
                   l.second.own == r.second.own && l.second.children == r.second.children;
        };
        return left.objects.size() == right.objects.size() &&
               std::equal(left.objects.begin(), left.objects.end(), right.objects.begin(), same);
    }

    static constexpr int QUESTIONS = 200;
    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
};

TEST(ChangesReferenceTest, TellsWhatMapsAndSetsDo)
{
    ChangesReference reference;
    const long questions = questionCount(40000);
    for (std::uint32_t seed = 1; reference.asked < questions && !HasFailure(); ++seed) {
        reference.compare(seed);
    }
    EXPECT_GT(reference.changed, reference.asked / 100) << "the questions must meet changes";
}

TEST(ContentsReferenceTest, AreThoseOfTheModelInTheOrderOfTheNames)
{
    const CapturedLog log(1000);
    PolicyOnDisk disk;
    const long objects = questionCount(5000);
    long compared = 0;
    for (std::uint32_t seed = 1; compared < objects; ++seed) {
        RandomPolicy policy(seed);
        const auto client = disk.publish(policy.model, policy.options);
        std::map<std::string, ModelObject> expected;
        for (const auto& [name, object] : policy.model.objects) {
            expected.emplace(name.str(), object);
        }
        CachePolicySource source(*client, seed % 2 == 0 ? WalkLocking::OneState : WalkLocking::InPieces);
        GrantedObject object;
        for (const auto& [name, model] : expected) {
            ASSERT_TRUE(source.next(object));
            ASSERT_EQ(object.name, name);
            EXPECT_EQ(object.inherits, model.inherit);
            EXPECT_EQ(grantsOf(object.onObject), model.own);
            EXPECT_EQ(grantsOf(object.onChildren), model.children);
            ++compared;
        }
        EXPECT_FALSE(source.next(object));
        ASSERT_FALSE(HasFailure()) << "policy " << seed;
    }
}

TEST(PolicyContentsTest, OfDamagedFilesAreObjectsOrStatus12)
{
    const CapturedLog log(1000);
    PolicyOnDisk disk;
    const long refused = askDamagedPolicies(disk, [](auto& client) {
        CachePolicySource first(client);
        CachePolicySource second(client, WalkLocking::OneState);
        EXPECT_TRUE(comparePolicies(first, second, {}, [](const PolicyChange& /*change*/) { return false; }));
    });
    EXPECT_GT(refused, 100);
}

} // namespace
} // namespace keepsafe_test
