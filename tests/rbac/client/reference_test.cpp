// The library against a plain reference: random caches in every legal form, random questions, equal answers.

#include <cstdint>
#include <limits>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>

#include "support/CacheWriter.h"
#include "support/TempDir.h"

namespace {

using keepsafe_test::AccessModel;
using keepsafe_test::CacheWriter;
using keepsafe_test::Grants;
using keepsafe_test::ModelObject;
using keepsafe_test::TempDir;
using keepsafe_test::TreeShape;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;

constexpr auto LEAST = std::numeric_limits<std::int32_t>::min();
constexpr auto MOST = std::numeric_limits<std::int32_t>::max();

const std::vector<std::string> COMPONENTS{"",    "a",        "ab",       "abc", "abcd",  "abcde",
                                          "a|b", "|",        " ",        "a b", "\xE9",  "\xFF|",
                                          "%",   "KEEPSAFE", "policies", "ab|", "abcd|x"};
const std::vector<std::int32_t> ROLES{LEAST, -70000, -5, -1, 1, 2, 3, 17, 99, 70000, MOST};
const std::vector<std::int32_t> BITS{0, 1, 5, 31, 32, 37, 63, 64, 1000, MOST, -1, LEAST};

class RandomCache {
public:
    explicit RandomCache(std::uint32_t seed) : random_(seed)
    {
        const std::uint32_t count = below(60);
        for (std::uint32_t i = 0; i < count; ++i) {
            model.objects[anyName()] = {below(4) != 0, grants(), grants()};
        }
        options.shape = static_cast<TreeShape>(below(4));
        options.offsetsInsideRecords = below(2) == 0;
        options.seed = seed;
    }

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_()) % limit; }

    template <typename T>
    const T& anyOf(const std::vector<T>& values)
    {
        return values[below(static_cast<std::uint32_t>(values.size()))];
    }

    ObjectNamespace anyName()
    {
        ObjectNamespace name;
        for (std::uint32_t depth = below(6); depth > 0; --depth) {
            name = name | anyOf(COMPONENTS);
        }
        return name;
    }

    /// Half of the time a name of the cache or one below it, else any.
    ObjectNamespace askedName()
    {
        if (model.objects.empty() || below(2) == 0) {
            return anyName();
        }
        auto chosen = model.objects.begin();
        std::advance(chosen, below(static_cast<std::uint32_t>(model.objects.size())));
        return below(2) == 0 ? chosen->first : chosen->first | anyOf(COMPONENTS);
    }

    std::set<int> roles()
    {
        std::set<int> chosen;
        for (std::uint32_t count = below(5); count > 0; --count) {
            chosen.insert(anyOf(ROLES));
        }
        // Now and then more roles than a checker holds in itself.
        for (std::uint32_t count = below(5) == 0 ? below(50) : 0; count > 0; --count) {
            chosen.insert(manyRoles(random_));
        }
        return chosen;
    }

    AccessModel model;
    CacheWriter::Options options;

private:
    Grants grants()
    {
        Grants chosen;
        for (std::uint32_t count = below(4); count > 0; --count) {
            for (std::uint32_t bits = 1 + below(4); bits > 0; --bits) {
                chosen[anyOf(ROLES)].insert(anyOf(BITS));
            }
        }
        // Now and then a role tree that is large.
        for (std::uint32_t count = below(10) == 0 ? below(100) : 0; count > 0; --count) {
            chosen[manyRoles(random_)].insert(anyOf(BITS));
        }
        return chosen;
    }

    std::mt19937 random_;
    std::uniform_int_distribution<std::int32_t> manyRoles{-100, 100};
};

constexpr int CACHES_PER_SEED = 50;
constexpr int CHECKERS_PER_CACHE = 20;
constexpr int QUESTIONS_PER_CHECKER = 25; // 5 seeds: 125,000 questions

class ReferenceTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(ReferenceTest, TheLibraryAnswersLikeMapsAndSets)
{
    int allowed = 0;
    int denied = 0;
    for (std::uint32_t round = 0; round < CACHES_PER_SEED; ++round) {
        RandomCache random(GetParam() * 1000 + round);
        const TempDir dir;
        CacheWriter(random.model, random.options).write(dir.path("cache"));
        const auto cache = boost::make_shared<const AccessCache>(Manifest("id", dir.path("cache")));
        for (int c = 0; c < CHECKERS_PER_CACHE; ++c) {
            const std::set<int> roles = random.roles();
            const std::int32_t bit = random.anyOf(BITS);
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
