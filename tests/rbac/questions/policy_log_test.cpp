#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/rbac/questions/policy_changes.h>

#include "RandomPolicy.h"
#include "cache/LockingSink.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::AccessControlClient;
using Tessara::Keepsafe::Rbac::CachePolicySource;
using Tessara::Keepsafe::Rbac::comparePolicies;
using Tessara::Keepsafe::Rbac::GrantedObject;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PolicyChange;
using Tessara::Keepsafe::Rbac::PolicySource;
using Tessara::Keepsafe::Rbac::WalkLocking;

using Client = boost::shared_ptr<AccessControlClient>;

/// Gives the same name again and again.
class OutOfOrder : public PolicySource {
public:
    bool next(GrantedObject& object) override
    {
        object = {"|A|", true, {}, {}};
        return true;
    }
};

/// What a source that holds its cache's lock leaves to be logged.
class PolicyLogTest : public testing::Test {
protected:
    Client sound()
    {
        AccessModel model;
        for (const char* const name : {"A", "B", "C"}) {
            model.objects[ObjectNamespace(name)] = {};
        }
        return disk_.publish(model, {}, "sound");
    }
    Client damaged()
    {
        CacheWriter writer;
        writer.metadata.segmentRoot = 4096;
        writer.write(disk_.directory("damaged"));
        return disk_.open("damaged");
    }
    [[nodiscard]] std::string lockOf(const std::string& id) const
    {
        return disk_.directory(id) + "/manifest.json";
    }
    static void compare(PolicySource& before, PolicySource& after)
    {
        comparePolicies(before, after, {}, [](const PolicyChange& /*change*/) { return true; });
    }

    PolicyOnDisk disk_;
};

TEST_F(PolicyLogTest, ARefusedOrderIsLoggedWhenTheSourcesHaveReleasedTheLock)
{
    const Client client = sound();
    const auto compareWithOneOutOfOrder = [&] {
        CachePolicySource holding(*client, WalkLocking::OneState);
        OutOfOrder other;
        compare(holding, other);
    };
    EXPECT_EQ(linesWithoutTheLock(lockOf("sound"), compareWithOneOutOfOrder), 1);
}

TEST_F(PolicyLogTest, TheDamageOfOneCacheIsLoggedWithoutTheLockOfTheOther)
{
    const Client client = sound();
    for (const WalkLocking locking : {WalkLocking::InPieces, WalkLocking::OneState}) {
        const Client other = damaged();
        const auto compareBoth = [&] {
            CachePolicySource holding(*client, WalkLocking::OneState);
            CachePolicySource failing(*other, locking);
            compare(holding, failing);
        };
        EXPECT_EQ(linesWithoutTheLock(lockOf("sound"), compareBoth), 1);
    }
}

TEST_F(PolicyLogTest, TheLastOfSeveralSourcesToEndLogsWhatAllHaveLeft)
{
    const Client client = sound();
    for (const char* const id : {"sound", "damaged"}) {
        for (const bool failingEndsFirst : {true, false}) {
            const Client other = damaged();
            const auto endInTurn = [&] {
                auto holding = std::make_unique<CachePolicySource>(*client, WalkLocking::OneState);
                auto failing = std::make_unique<CachePolicySource>(*other, WalkLocking::OneState);
                const int status = thrownStatus([&] { compare(*holding, *failing); });
                (failingEndsFirst ? failing : holding).reset();
                (failingEndsFirst ? holding : failing).reset();
                throw EC_exception(status);
            };
            EXPECT_EQ(linesWithoutTheLock(lockOf(id), endInTurn), 1);
        }
    }
}

} // namespace
} // namespace keepsafe_test
