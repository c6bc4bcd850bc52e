// The library against a plain reference: random caches in every legal form, random questions, equal answers.

#include <cstdint>
#include <set>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "support/CacheWriter.h"
#include "support/RandomModel.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr int CACHES_PER_SEED = 50;
constexpr int CHECKERS_PER_CACHE = 20;
constexpr int QUESTIONS_PER_CHECKER = 25; // 5 seeds: 125,000 questions

class ReferenceTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(ReferenceTest, TheLibraryAnswersLikeMapsAndSets)
{
    int allowed = 0;
    int denied = 0;
    for (std::uint32_t round = 0; round < CACHES_PER_SEED; ++round) {
        RandomModel random(GetParam() * 1000 + round);
        const TempDir dir;
        CacheWriter(random.model, random.options).write(dir.path("cache"));
        const auto cache = boost::make_shared<const AccessCache>(Manifest("id", dir.path("cache")));
        for (int c = 0; c < CHECKERS_PER_CACHE; ++c) {
            const std::set<int> roles = random.roles();
            const std::int32_t bit = random.anyOf(RandomModel::someBits());
            const DiskAccessChecker checker(cache, roles, Operation{bit}, 0);
            for (int q = 0; q < QUESTIONS_PER_CHECKER; ++q) {
                const ObjectNamespace object = random.askedName();
                const bool expected = random.model.isAllowed(roles, bit, object);
                ASSERT_EQ(checker.checkAccess(object), expected)
                    << object << " bit " << bit << " cache " << GetParam() * 1000 + round;
                ++(expected ? allowed : denied);
            }
        }
    }
    EXPECT_GT(allowed, 1000) << "the questions must exercise grants";
    EXPECT_GT(denied, 1000) << "the questions must exercise denials";
}

INSTANTIATE_TEST_SUITE_P(Seeds, ReferenceTest, testing::Values(1U, 2U, 3U, 4U, 5U));

} // namespace
} // namespace keepsafe_test
