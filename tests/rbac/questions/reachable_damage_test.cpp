// Damaged caches: what a caller can reach is an answer or status 12, in bounded time, and every name that
// comes out is one that a checker allows.

#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/questions/reachable_objects.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ReachableObjects;
using Tessara::Keepsafe::Rbac::WalkLocking;

class ReachableDamage : public testing::Test {
protected:
    int statusOfList(const std::set<int>& roles = {0})
    {
        const auto client = disk_.open();
        const ReachableObjects reachable(*client, roles, PolicyOnDisk::operationOf(BIT));
        const int status = thrownStatus(
            [&] { reachable.forEach(ROOT, "", [](std::string_view /*name*/) { return true; }); });
        EXPECT_EQ(thrownStatus([&] { (void)reachable.count(ROOT, ""); }), status);
        EXPECT_EQ(thrownStatus([&] { (void)reachable.count(ROOT, "", WalkLocking::OneState); }), status);
        return status;
    }

    /// The root, and a level below it whose tree begins at the offset 64.
    static CacheWriter twoLevels()
    {
        CacheWriter cache;
        cache.metadata.segmentRoot = 32;
        cache.add(managedObject(true, 0, 0));
        cache.add(segmentNode(keyOf("|"), 0, 0, 16, 64));
        return cache;
    }
    static std::int32_t keyOf(const std::string& text) { return segmentValues(text).front(); }

    const CapturedLog log_{1000};
    PolicyOnDisk disk_;
};

TEST_F(ReachableDamage, ALevelOutOfOrderIsStatus12)
{
    CacheWriter cache = twoLevels();
    cache.add(segmentNode(keyOf("b|"), 96, 0, 16, 0));
    cache.add(segmentNode(keyOf("c|"), 0, 0, 16, 0)); // to the left of a smaller one: no lookup finds it
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList(), 12);
}

TEST_F(ReachableDamage, ALevelThatLeadsRoundIsStatus12)
{
    CacheWriter cache = twoLevels();
    cache.add(segmentNode(keyOf("b|"), 96, 0, 16, 0));
    cache.add(segmentNode(keyOf("a|"), 0, 64, 16, 0));
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList(), 12);
}

TEST_F(ReachableDamage, ATrieThatLeadsRoundIsStatus12)
{
    for (const CacheWriter::NodeOffset above : {64U, 96U}) {
        CacheWriter cache = twoLevels();
        cache.add(segmentNode(keyOf("b|"), 0, 0, 16, 96));
        cache.add(segmentNode(keyOf("c|"), 0, 0, 16, above));
        cache.segments.resize(100000); // room enough for many rounds
        cache.write(disk_.directory());
        EXPECT_EQ(statusOfList(), 12) << above;
    }
}

TEST_F(ReachableDamage, ATrieWhoseLevelsAreSharedIsStatus12)
{
    CacheWriter cache = twoLevels();
    for (CacheWriter::NodeOffset at = 64; at < 64 * 41; at += 64) {
        cache.add(segmentNode(keyOf("a|"), 0, at + 32, 0, at + 64));
        cache.add(segmentNode(keyOf("b|"), 0, 0, 0, at + 64)); // 2^40 names
    }
    cache.add(segmentNode(keyOf("c|"), 0, 0, 16, 0));
    cache.segments.resize(20000);
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList(), 12);
}

TEST_F(ReachableDamage, ADamagedRoleTreeIsStatus12)
{
    CacheWriter cache = twoLevels();
    cache.segments[1].nextLevel = 0;
    cache.objects[1] = managedObject(true, 24, 0);
    cache.add(bitsNode(17, 0, 24, 24));
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList({3}), 12);
    EXPECT_EQ(statusOfList({17}), 0);
}

TEST_F(ReachableDamage, ADamagedRoleTreeIsStatus12WhateverIsGrantedAbove)
{
    CacheWriter cache;
    const auto words = cache.add(bitsNode(0, 1U << static_cast<unsigned>(BIT)));
    const auto root = cache.add(managedObject(true, 0, cache.add(bitsNode(3, words))));
    const auto damaged = cache.add(bitsNode(17, 24 * 1000)); // its words are outside the file
    const auto own = cache.add(managedObject(true, damaged, 0));
    const auto below = cache.add(segmentNode(keyOf("a|"), 0, 0, own, 0));
    cache.metadata.segmentRoot = cache.add(segmentNode(keyOf("|"), 0, 0, root, below));
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList({3}), 0);
    EXPECT_EQ(statusOfList({3, 17}), 12);
    cache.objects[own / sizeof(cache.objects[0])] = managedObject(true, 0, damaged); // of what is below it
    cache.segments[below / sizeof(cache.segments[0])].nextLevel =
        cache.add(segmentNode(keyOf("b|"), 0, 0, root, 0));
    cache.write(disk_.directory());
    EXPECT_EQ(statusOfList({3}), 0);
    EXPECT_EQ(statusOfList({3, 17}), 12);
}

TEST_F(ReachableDamage, APageThatBeginsAtTextOfNoNameHasTheNamesBehindIt)
{
    CacheWriter cache = twoLevels();
    cache.add(segmentNode(0x61620000, 0, 96, 16, 128)); // "ab", which neither ends nor goes on
    cache.add(segmentNode(keyOf("b|"), 0, 0, 16, 0));
    cache.add(segmentNode(keyOf("c|"), 0, 0, 16, 0));
    cache.write(disk_.directory());
    const ReachableObjects reachable(*disk_.open(), {0}, PolicyOnDisk::operationOf(BIT));
    EXPECT_EQ(reachable.page(ROOT, "|ab", 10).names, std::vector<std::string>{"|b|"});
}

TEST_F(ReachableDamage, EveryNameThatComesOutIsOneThatACheckerAllows)
{
    long listed = 0;
    const long refused = askDamagedPolicies(disk_, [&](auto& client) {
        const std::set<int> roles{1, 2, 17, -5};
        boost::shared_ptr<const AccessChecker> checker;
        ASSERT_EQ(client.createAccessChecker(roles, PolicyOnDisk::operationOf(BIT), 0, checker), 0);
        const ReachableObjects reachable(client, roles, PolicyOnDisk::operationOf(BIT));
        reachable.forEach(ROOT, "", [&](std::string_view name) {
            ++listed;
            EXPECT_TRUE(checker->checkAccess(boost::lexical_cast<ObjectNamespace>(name))) << name;
            return true;
        });
    });
    EXPECT_GT(listed, 1000);
    EXPECT_GT(refused, 100);
}

} // namespace
} // namespace keepsafe_test
