// What a caller can reach, against maps and sets: random caches in every legal form, random questions.

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/rbac/questions/reachable_objects.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ReachableObjects;
using Tessara::Keepsafe::Rbac::ReachablePage;
using Tessara::Keepsafe::Rbac::WalkLocking;

/// A caller with an operation; no bit: one that is unknown.
struct Caller {
    std::set<int> roles;
    bool knows;
    std::int32_t bit;
};

/// The names that a caller reaches, worked out from the model object by object.
std::set<std::string> reachedNames(const RandomPolicy& policy, const Caller& caller)
{
    std::set<std::string> names;
    for (const auto& [name, object] : policy.model.objects) {
        const bool allowed = caller.knows && (caller.roles.count(0) != 0 ||
                                              policy.model.isAllowed(caller.roles, caller.bit, name));
        if (allowed) {
            names.insert(name.str());
        }
    }
    return names;
}

std::vector<std::string> between(const std::set<std::string>& names, const std::string& under,
                                 const std::string& after)
{
    std::vector<std::string> result;
    for (auto name = names.upper_bound(after); name != names.end(); ++name) {
        if (name->compare(0, under.size(), under) == 0) {
            result.push_back(*name);
        }
    }
    return result;
}

class ReachableReference {
public:
    void askAbout(std::uint32_t seed, long questions)
    {
        RandomPolicy policy(seed);
        const auto client = disk_.publish(policy.model, policy.options);
        for (; questions > 0; questions -= QUESTIONS_OF_A_CALLER) {
            const Caller caller{policy.roles(), policy.below(20) != 0,
                                policy.anyOf(RandomPolicy::someBits())};
            const ReachableObjects reachable(*client, caller.roles,
                                             caller.knows ? PolicyOnDisk::operationOf(caller.bit)
                                                          : PolicyOnDisk::unknownOperation());
            const std::set<std::string> expected = reachedNames(policy, caller);
            for (long i = 0; i < QUESTIONS_OF_A_CALLER; ++i) {
                ask(policy, reachable, expected);
                ASSERT_FALSE(testing::Test::HasFailure()) << "policy " << seed;
            }
        }
    }

    static constexpr long QUESTIONS_OF_A_CALLER = 40;
    long listed = 0;
    long asked = 0;

private:
    void ask(RandomPolicy& policy, const ReachableObjects& reachable, const std::set<std::string>& all)
    {
        const ObjectNamespace under = policy.below(2) == 0 ? ObjectNamespace() : policy.askedName();
        std::string after = policy.below(2) == 0 ? "" : policy.askedName().str();
        after.resize(policy.below(4) == 0 ? policy.below(static_cast<std::uint32_t>(after.size()) + 1)
                                          : after.size());
        const std::vector<std::string> expected = between(all, under.str(), after);
        const std::size_t limit = 1 + policy.below(8);
        EXPECT_EQ(pages(reachable, under, after, limit), expected) << under << " after " << after;
        const auto locking = policy.below(2) == 0 ? WalkLocking::InPieces : WalkLocking::OneState;
        EXPECT_EQ(reachable.count(under, after, locking), expected.size()) << under << " after " << after;
        listed += static_cast<long>(expected.size());
        ++asked;
    }

    static std::vector<std::string> pages(const ReachableObjects& reachable, const ObjectNamespace& under,
                                          std::string after, std::size_t limit)
    {
        std::vector<std::string> names;
        do {
            const ReachablePage page = reachable.page(under, after, limit);
            EXPECT_LE(page.names.size(), limit);
            names.insert(names.end(), page.names.begin(), page.names.end());
            after = page.cursor;
        } while (!after.empty());
        return names;
    }

    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
};

TEST(ReachableReferenceTest, ListsAndCountsWhatMapsAndSetsDo)
{
    ReachableReference reference;
    constexpr long QUESTIONS_OF_A_POLICY = 800;
    const long questions = questionCount(20000);
    for (std::uint32_t seed = 1; reference.asked < questions; ++seed) {
        reference.askAbout(seed, QUESTIONS_OF_A_POLICY);
        ASSERT_FALSE(HasFailure());
    }
    RecordProperty("questions", std::to_string(reference.asked));
    EXPECT_GT(reference.listed, reference.asked / 4) << "the questions must have answers";
}

} // namespace
} // namespace keepsafe_test
