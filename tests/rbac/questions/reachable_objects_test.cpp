#include <keepsafe/rbac/questions/reachable_objects.h>

#include <set>
#include <string>
#include <vector>

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::ReachableObjects;
using Tessara::Keepsafe::Rbac::ReachablePage;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;
using Tessara::Keepsafe::Rbac::WalkLocking;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> allNames(const ReachableObjects& reachable, const ObjectNamespace& under = ROOT,
                                  const std::string& after = "")
{
    std::vector<std::string> names;
    reachable.forEach(under, after, [&names](std::string_view name) {
        names.emplace_back(name);
        return true;
    });
    return names;
}

class ReachableObjectsTest : public testing::Test {
protected:
    ReachableObjectsTest()
    {
        model_.objects[ROOT] = {true, {}, {}};
        model_.objects[ObjectNamespace("VMS")] = {true, {}, {{17, {BIT}}}};
        model_.objects[ObjectNamespace("VMS", "web-1")] = {true, {}, {}};
        model_.objects[ObjectNamespace("VMS", "db")] = {false, {}, {}};
        model_.objects[ObjectNamespace("VMS", "db", "disk")] = {true, {{3, {BIT}}}, {}};
        model_.objects[ObjectNamespace("VMS", "a b")] = {true, {}, {}};
        model_.objects[ObjectNamespace("A", "missing", "deep")] = {true, {{17, {BIT}}}, {}};
    }

    ReachableObjects reachable(const std::set<int>& roles)
    {
        client_ = disk_.publish(model_, {});
        return ReachableObjects(*client_, roles, PolicyOnDisk::operationOf(BIT));
    }

    AccessModel model_;
    PolicyOnDisk disk_;
    boost::shared_ptr<Tessara::Keepsafe::Rbac::AccessControlClient> client_;
};

TEST_F(ReachableObjectsTest, ListsWhatIsAllowedInTheOrderOfTheBytesOfTheNames)
{
    EXPECT_THAT(allNames(reachable({17})), ElementsAre("|A|missing|deep|", "|VMS|a+b|", "|VMS|web-1|"));
    EXPECT_THAT(allNames(reachable({3})), ElementsAre("|VMS|db|disk|"));
}

TEST_F(ReachableObjectsTest, Role0ReachesEveryObjectOfTheCache)
{
    EXPECT_THAT(allNames(reachable({0})), ElementsAre("|", "|A|missing|deep|", "|VMS|", "|VMS|a+b|",
                                                      "|VMS|db|", "|VMS|db|disk|", "|VMS|web-1|"));
}

TEST_F(ReachableObjectsTest, NobodyReachesAnythingByAnUnknownOperation)
{
    client_ = disk_.publish(model_, {});
    const CapturedLog log(1000);
    EXPECT_THAT(allNames(ReachableObjects(*client_, {17, 0}, PolicyOnDisk::unknownOperation())), IsEmpty());
}

TEST_F(ReachableObjectsTest, WithoutRolesThereIsNothing)
{
    const ReachableObjects none = reachable({});
    EXPECT_THAT(allNames(none), IsEmpty());
    EXPECT_EQ(none.count(ROOT, ""), 0U);
    EXPECT_TRUE(none.page(ROOT, "", 10).isLast());
}

TEST_F(ReachableObjectsTest, TheNameItselfCountsAmongWhatIsUnderIt)
{
    EXPECT_THAT(allNames(reachable({0}), ObjectNamespace("VMS", "db")),
                ElementsAre("|VMS|db|", "|VMS|db|disk|"));
    EXPECT_THAT(allNames(reachable({17}), ObjectNamespace("A")), ElementsAre("|A|missing|deep|"));
    EXPECT_THAT(allNames(reachable({17}), ObjectNamespace("A", "miss")), IsEmpty());
    EXPECT_THAT(allNames(reachable({17}), ObjectNamespace("VMS", "web-1", "x")), IsEmpty());
}

TEST_F(ReachableObjectsTest, AnyNameIsAPlaceToContinueAfterWhetherOrNotItExists)
{
    const ReachableObjects all = reachable({0});
    EXPECT_THAT(allNames(all, ROOT, "|VMS|db|"), ElementsAre("|VMS|db|disk|", "|VMS|web-1|"));
    EXPECT_THAT(allNames(all, ROOT, "|VMS|dc|"), ElementsAre("|VMS|web-1|"));
    EXPECT_THAT(allNames(all, ROOT, "|VMS|w"), ElementsAre("|VMS|web-1|"));
    EXPECT_THAT(allNames(all, ROOT, "|z|"), IsEmpty());
    EXPECT_THAT(allNames(all, ObjectNamespace("VMS", "db"), "|A|"), ElementsAre("|VMS|db|", "|VMS|db|disk|"));
    EXPECT_THAT(allNames(all, ObjectNamespace("VMS", "db"), "|VMS|w"), IsEmpty());
}

TEST_F(ReachableObjectsTest, PagesFollowEachOtherByTheirCursors)
{
    const ReachableObjects all = reachable({0});
    ReachablePage page = all.page(ROOT, "", 3);
    EXPECT_THAT(page.names, ElementsAre("|", "|A|missing|deep|", "|VMS|"));
    page = all.page(ROOT, page.cursor, 3);
    EXPECT_THAT(page.names, ElementsAre("|VMS|a+b|", "|VMS|db|", "|VMS|db|disk|"));
    page = all.page(ROOT, page.cursor, 3);
    EXPECT_THAT(page.names, ElementsAre("|VMS|web-1|"));
    EXPECT_TRUE(page.isLast());
}

TEST_F(ReachableObjectsTest, ACursorStaysValidWhenItsObjectIsGone)
{
    ReachablePage page = reachable({0}).page(ROOT, "", 5);
    ASSERT_EQ(page.names.back(), "|VMS|db|");
    model_.objects.erase(ObjectNamespace("VMS", "db"));
    model_.objects[ObjectNamespace("VMS", "dc")] = {true, {}, {}};
    page = reachable({0}).page(ROOT, page.cursor, 5);
    EXPECT_THAT(page.names, ElementsAre("|VMS|db|disk|", "|VMS|dc|", "|VMS|web-1|"));
}

TEST_F(ReachableObjectsTest, APlaceThatNoNameBeginsWithIsRefused)
{
    const ReachableObjects all = reachable({0});
    const CapturedLog log(1000);
    for (const std::string after : {"VMS", "|VMS|%7c", "|a b|", "|\xE9|", "|%41|", "| "}) {
        EXPECT_EQ(thrownStatus([&] { (void)all.page(ROOT, after, 1); }), 20) << after;
        EXPECT_EQ(thrownStatus([&] { (void)all.count(ROOT, after); }), 20) << after;
    }
    EXPECT_EQ(thrownStatus([&] { (void)all.page(ROOT, "", 0); }), 20);
}

TEST_F(ReachableObjectsTest, WhereEnforcementIsOffNothingIsKnownOfWhatThereIs)
{
    StubAccessControlClient stub;
    const ReachableObjects reachable(stub, {17}, PolicyOnDisk::operationOf(BIT));
    EXPECT_FALSE(reachable.isEnforced());
    EXPECT_THAT(allNames(reachable), IsEmpty());
    EXPECT_EQ(reachable.count(ROOT, ""), 0U);
}

TEST_F(ReachableObjectsTest, AnInterruptedWriteIsStatus12)
{
    CacheWriter cache(model_, {});
    cache.metadata.writeInProgress = 1;
    cache.write(disk_.directory());
    const auto client = disk_.open();
    const CapturedLog log(1000);
    const ReachableObjects all(*client, {0}, PolicyOnDisk::operationOf(BIT));
    EXPECT_EQ(thrownStatus([&] { (void)all.page(ROOT, "", 1); }), 12);
    EXPECT_EQ(thrownStatus([&] { (void)all.count(ROOT, ""); }), 12);
}

/// A trie of one name for each text, written as it is.
class Texts : public ReachableObjectsTest {
protected:
    static CacheWriter::NodeOffset addLevel(CacheWriter& cache, const std::set<std::string>& texts,
                                            std::size_t done)
    {
        std::map<std::int32_t, std::set<std::string>> levels;
        for (const std::string& text : texts) {
            const std::string rest = text.substr(done, 4);
            levels[segmentValues(rest.substr(0, rest.find('|') + 1)).front()].insert(text);
        }
        const std::vector<std::pair<std::int32_t, std::set<std::string>>> keys(levels.begin(), levels.end());
        return CacheWriter::buildTree(
            keys.size(), {}, [&](std::size_t i, CacheWriter::NodeOffset left, CacheWriter::NodeOffset right) {
                const auto& [key, below] = keys[i];
                std::set<std::string> longer;
                CacheWriter::NodeOffset object = 0;
                const std::size_t bar = below.begin()->find('|', done);
                const std::size_t end = bar < done + 4 ? bar + 1 : done + 4;
                for (const std::string& text : below) {
                    if (text.size() == end) {
                        object = cache.add(managedObject(true, 0, 0));
                    } else {
                        longer.insert(text);
                    }
                }
                const CacheWriter::NodeOffset next = longer.empty() ? 0 : addLevel(cache, longer, end);
                return cache.add(segmentNode(key, left, right, object, next));
            });
    }

    std::vector<std::string> listed(const std::set<std::string>& texts)
    {
        CacheWriter cache;
        cache.metadata.segmentRoot = addLevel(cache, texts, 0);
        cache.write(disk_.directory());
        const auto client = disk_.open();
        return allNames(ReachableObjects(*client, {0}, PolicyOnDisk::operationOf(BIT)));
    }
};

TEST_F(Texts, WhatIsNoTextFormIsNotAnObjectAnybodyCanAskFor)
{
    EXPECT_THAT(listed({"|", "|%7C|", "|%7c|", "|%7c|x|", "|%41|", "|%20|", "|%2B|", "|a b|", "|\xE9|", "|%|",
                        "|%A|", "|~|", "|a+b|"}),
                ElementsAre("|", "|%2B|", "|%7C|", "|a+b|"));
}

TEST_F(ReachableObjectsTest, CountsAreThoseOfTheNames)
{
    for (const int role : {0, 3, 17}) {
        const ReachableObjects some = reachable({role});
        EXPECT_EQ(some.count(ROOT, ""), allNames(some).size());
        EXPECT_EQ(some.count(ROOT, "", WalkLocking::OneState), allNames(some).size());
    }
}

} // namespace
} // namespace keepsafe_test
