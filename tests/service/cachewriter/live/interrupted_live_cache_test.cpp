#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>

#include "cachewriter/LiveCache.h"
#include "service/support/Generations.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// A writer that publishes twice, the second time what has changed only, is stopped at each of its steps in
/// turn; then readers look at what it left.

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::FileSystem;
using keepsafe_service::LiveCache;
using keepsafe_service::OperationBits;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Interruption = InterruptedFileSystem::Interruption;

const OperationBits OPERATIONS{{ObjectNamespace("OPERATIONS", "VIEW"), 1}};

void put(LiveCache& cache, unsigned generation)
{
    for (const CacheObject& object : objectsOfGeneration(generation)) {
        cache.put(object);
    }
}

class InterruptedLiveCache : public testing::Test {
protected:
    void publishAnew(unsigned generation)
    {
        UnsyncedFileSystem fileSystem;
        LiveCache cache(fileSystem, location_, ObjectNamespace("VAULT"));
        put(cache, generation);
        cache.publish(OPERATIONS);
    }

    /// What is found after a stop at each step, without repetitions.
    std::vector<std::string> findingsWhenKilled(Interruption interruption)
    {
        publishAnew(3);
        const AccessCache openAllTheTime(Manifest("id", location_.accessCache()));
        std::vector<std::string> findings;
        for (std::size_t step = 0; isKilledAt(step, interruption); ++step) {
            findings.push_back(findingIn(location_.accessCache()));
            EXPECT_EQ(findingOf(openAllTheTime), findings.back()) << "after step " << step;
            publishAnew(3);
            EXPECT_EQ(findingOf(openAllTheTime), "generation 3") << "after step " << step;
        }
        findings.erase(std::unique(findings.begin(), findings.end()), findings.end());
        return findings;
    }

    bool isKilledAt(std::size_t step, Interruption interruption)
    {
        const ProcessEnd end = Process::fork([&] {
                                   InterruptedFileSystem fileSystem(step, interruption);
                                   LiveCache cache(fileSystem, location_, ObjectNamespace("VAULT"));
                                   put(cache, 1);
                                   cache.publish(OPERATIONS);
                                   put(cache, 2);
                                   cache.publish(OPERATIONS);
                                   return 0;
                               }).wait();
        EXPECT_TRUE(end.exitStatus == 0 || end.signal == SIGKILL);
        return end.exitStatus != 0;
    }

    TempDir dir_;
    CapturedLog log_{17};
    CacheLocation location_{dir_.path(), "vault"};
};

const std::vector<std::string> OLD_OR_NEW_OR_REFUSED{"generation 3", "refused", "generation 1", "refused",
                                                     "generation 2"};

TEST_F(InterruptedLiveCache, ByDeathLeavesOneWholeGenerationOrARefusal)
{
    EXPECT_EQ(findingsWhenKilled(Interruption::Death), OLD_OR_NEW_OR_REFUSED);
}

TEST_F(InterruptedLiveCache, ByDeathInTheMiddleOfAWriteLeavesOneWholeGenerationOrARefusal)
{
    EXPECT_EQ(findingsWhenKilled(Interruption::DeathInTheMiddle), OLD_OR_NEW_OR_REFUSED);
}

/// Whether publishing succeeded at once.
bool publishTwiceAtMost(LiveCache& cache)
{
    try {
        cache.publish(OPERATIONS);
        return true;
    } catch (const std::runtime_error&) {
        cache.publish(OPERATIONS);
        return false;
    }
}

TEST_F(InterruptedLiveCache, ByAFailureIsWholeAfterTheNextPublishing)
{
    bool isFailing = true;
    for (std::size_t step = 0; isFailing; ++step) {
        InterruptedFileSystem fileSystem(step, Interruption::Failure);
        LiveCache cache(fileSystem, location_, ObjectNamespace("VAULT"));
        put(cache, 1);
        isFailing = !publishTwiceAtMost(cache);
        EXPECT_EQ(findingIn(location_.accessCache()), "generation 1") << "failed in step " << step;
        put(cache, 2);
        isFailing = !publishTwiceAtMost(cache) || isFailing;
        EXPECT_EQ(findingIn(location_.accessCache()), "generation 2") << "failed in step " << step;
        publishAnew(3);
    }
}

} // namespace
} // namespace keepsafe_test
