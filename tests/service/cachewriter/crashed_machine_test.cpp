// The machine stops after each step of a writer, and the disk has any part of what was not synced. Readers
// find the old state, the new one, or an error; when publishing has returned, the new one.

#include <algorithm>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/OperationCache.h>

#include "cachewriter/LiveCache.h"
#include "cachewriter/publish_cache.h"
#include "service/support/Generations.h"
#include "service/support/SimulatedDisk.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::FileSystem;
using keepsafe_service::ImageBuilder;
using keepsafe_service::LiveCache;
using keepsafe_service::OperationBits;
using keepsafe_service::publishCache;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Findings = std::set<std::string>;

const ObjectNamespace VAULT("VAULT");

/// What readers find; any exception is a refusal.
std::string foundBelow(const std::string& root)
{
    try {
        return findingIn(CacheLocation(root, "vault").accessCache());
    } catch (const std::runtime_error&) {
        return "refused"; // a file is missing
    }
}

class CrashedMachine : public testing::Test {
protected:
    CrashedMachine() : disk_(root_.path()) {}

    [[nodiscard]] CacheLocation location() const { return {root_.path(), "vault"}; }

    void publish(unsigned generation)
    {
        publishCache(fileSystem_, location(), VAULT, imageOfGeneration(generation),
                     OperationBits{{ObjectNamespace("OPERATIONS", "VIEW"), static_cast<int>(generation)}},
                     Renumber::Allow);
    }

    /// The steps since the last call, without those that only look.
    std::vector<DiskStep> takeSteps()
    {
        const std::vector<DiskStep>& all = fileSystem_.steps();
        std::vector<DiskStep> result(all.begin() + static_cast<std::ptrdiff_t>(taken_), all.end());
        taken_ = all.size();
        return result;
    }

    /// All steps so far are on the disk.
    void settle()
    {
        for (const DiskStep& step : takeSteps()) {
            disk_.take(step);
        }
        disk_.syncEverything();
    }

    Findings findings(const std::function<std::string(const std::string&)>& look = foundBelow) const
    {
        Findings result;
        forEachCrash(disk_, [&](const std::string& folder) { result.insert(look(folder)); });
        return result;
    }

    /// Takes the steps since the last call, and visits before each wait for the disk. What may be left after
    /// a step may also be left after the next one, unless that waits for the disk.
    void takeStepsAndVisit(const std::function<void()>& visit)
    {
        for (const DiskStep& step : takeSteps()) {
            if (step.kind == DiskStep::Sync || step.kind == DiskStep::SyncFolder) {
                visit();
            }
            disk_.take(step);
        }
        visit();
    }

    /// Whatever was found after any of the steps since the last call; the second one: after all of them.
    std::pair<Findings, Findings> findingsAtEachStep()
    {
        Findings meanwhile;
        takeStepsAndVisit([&] { meanwhile.merge(findings()); });
        return {meanwhile, findings()};
    }

    TempDir root_;
    CapturedLog log_{17};
    LoggedFileSystem fileSystem_;
    SimulatedDisk disk_;

private:
    std::size_t taken_ = 0;
};

TEST_F(CrashedMachine, LeavesTheOldGenerationTheNewOneOrARefusal)
{
    for (const unsigned before : {1U, 4U}) {
        publish(before);
        settle();
        const unsigned after = 5 - before;
        publish(after);
        const auto [meanwhile, atTheEnd] = findingsAtEachStep();
        EXPECT_EQ(meanwhile, (Findings{"generation " + std::to_string(before), "refused",
                                       "generation " + std::to_string(after)}));
        EXPECT_EQ(atTheEnd, Findings{"generation " + std::to_string(after)});
    }
}

TEST_F(CrashedMachine, LeavesANewCacheWholeOrRefused)
{
    publish(2);
    const auto [meanwhile, atTheEnd] = findingsAtEachStep();
    EXPECT_EQ(meanwhile, (Findings{"refused", "generation 2"}));
    EXPECT_EQ(atTheEnd, Findings{"generation 2"});
}

TEST_F(CrashedMachine, LeavesACacheThatChangesInPartsWholeOrRefused)
{
    LiveCache cache(fileSystem_, location(), VAULT);
    const OperationBits operations{{ObjectNamespace("OPERATIONS", "VIEW"), 1}};
    const auto publishLive = [&](unsigned generation) {
        for (const CacheObject& object : objectsOfGeneration(generation)) {
            cache.put(object);
        }
        cache.publish(operations);
    };
    publishLive(1);
    settle();
    publishLive(2);
    const auto [meanwhile, atTheEnd] = findingsAtEachStep();
    EXPECT_EQ(meanwhile, (Findings{"generation 1", "refused", "generation 2"}));
    EXPECT_EQ(atTheEnd, Findings{"generation 2"});
}

TEST_F(CrashedMachine, DoesNotKeepTheNextWriterFromRepairing)
{
    publish(1);
    settle();
    publish(3);
    std::size_t number = 0;
    takeStepsAndVisit([&] {
        const Findings repaired = findings([&number](const std::string& folder) {
            constexpr std::size_t sampled = 10; // a writer's pauses take longer than all the rest
            if (number++ % sampled != 0) {
                return std::string("generation 2");
            }
            UnsyncedFileSystem fileSystem;
            publishCache(fileSystem, CacheLocation(folder, "vault"), VAULT, imageOfGeneration(2),
                         OperationBits{{ObjectNamespace("OPERATIONS", "VIEW"), 2}}, Renumber::Allow);
            return foundBelow(folder);
        });
        EXPECT_EQ(repaired, Findings{"generation 2"});
    });
}

/// What the operation cache says, for a machine that stopped while the access cache changed with it.
std::string bitBelow(const std::string& root)
{
    return readFile(CacheLocation(root, "vault").operationCache()).find(": 1") != std::string::npos ? "1"
                                                                                                    : "4";
}

TEST_F(CrashedMachine, NeverPairsNewBitsOfOperationsWithAnOldCache)
{
    publish(1);
    settle();
    publish(4);
    Findings pairs;
    takeStepsAndVisit([&] {
        pairs.merge(
            findings([](const std::string& folder) { return bitBelow(folder) + ", " + foundBelow(folder); }));
    });
    EXPECT_EQ(pairs, (Findings{"1, generation 1", "1, refused", "4, refused", "4, generation 4"}));
}

} // namespace
} // namespace keepsafe_test
