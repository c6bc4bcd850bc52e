// Calls of the system fail while a check is answered, a cache is opened, and a changed cache is mapped again.

#include <chrono>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <thread>

#include <boost/make_shared.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/rbac/client/DiskAccessChecker.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

#include "cachewriter/CacheLocation.h"
#include "cachewriter/publish_cache.h"
#include "faults/FaultRuns.h"
#include "service/support/Generations.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheLocation;
using keepsafe_service::OperationBits;
using keepsafe_service::publishCache;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::AccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessChecker;
using Tessara::Keepsafe::Rbac::DiskAccessControlClient;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::OperationCache;

const ObjectNamespace VAULT("VAULT");
const ObjectNamespace FIRST_BOX("VAULT", "box-0");
const ObjectNamespace NO_BOX("VAULT", "box-100000");

ObjectNamespace operationOf(int generation)
{
    return ObjectNamespace("OPERATIONS", "GENERATION-" + std::to_string(generation));
}

/// Generation g grants role 1 the operation of that generation on its boxes.
void publish(const std::string& folder, unsigned generation)
{
    UnsyncedFileSystem fileSystem;
    publishCache(fileSystem, CacheLocation(folder, "vault"), VAULT, imageOfGeneration(generation),
                 OperationBits{{operationOf(1), 1}, {operationOf(3), 3}}, Renumber::Refuse);
}

void publishInAnotherProcess(const std::string& folder, unsigned generation)
{
    const auto end = Process::fork([&] {
                         publish(folder, generation);
                         return 0;
                     }).wait();
    if (end.exitStatus != 0) {
        throw std::runtime_error("the writer failed");
    }
}

std::string cacheFolder(const std::string& folder) { return CacheLocation(folder, "vault").accessCache(); }

std::string inspectLock(const std::string& folder, Result /*result*/)
{
    return whatHoldsLock(cacheFolder(folder) + "/manifest.json");
}

/// An open cache and the questions whose answers depend on the generation.
class GenerationQuestions {
public:
    explicit GenerationQuestions(const std::string& folder)
        : cache_(boost::make_shared<const AccessCache>(Manifest("vault", cacheFolder(folder)))),
          first_(cache_, {1}, Operation{1}, 0), third_(cache_, {1}, Operation{3}, 0)
    {
    }

    /// Right when everything is answered as by this generation.
    [[nodiscard]] Result ask(int generation) const
    {
        const bool isWhole = first_.checkAccess(FIRST_BOX) == (generation == 1) &&
                             third_.checkAccess(FIRST_BOX) == (generation == 3) &&
                             !first_.checkAccess(NO_BOX) && !third_.checkAccess(NO_BOX);
        return isWhole ? Result::Right : Result::Wrong;
    }

private:
    boost::shared_ptr<const AccessCache> cache_;
    DiskAccessChecker first_;
    DiskAccessChecker third_;
};

/// The time after which a reader has to have noticed that files are others.
void waitUntilTheFilesAreLookedAt() { std::this_thread::sleep_for(std::chrono::milliseconds(11)); }

class RepeatedCheck : public Scenario {
public:
    explicit RepeatedCheck(const std::string& folder)
    {
        publishInAnotherProcess(folder, 1);
        questions_.emplace(folder);
        static_cast<void>(questions_->ask(1));
        waitUntilTheFilesAreLookedAt();
    }

    Result work() override { return questions_->ask(1); }

private:
    std::optional<GenerationQuestions> questions_;
};

TEST(FaultsInACheck, NeverGrantAndAlwaysTell)
{
    expectSoundUnderFaults(
        {[](const std::string& folder) { return std::make_unique<RepeatedCheck>(folder); }, inspectLock});
}

/// The thread's first hold of the lock, too.
class Opening : public Scenario {
public:
    explicit Opening(const std::string& folder) : folder_(folder) { publishInAnotherProcess(folder, 1); }

    Result work() override { return GenerationQuestions(folder_).ask(1); }

private:
    std::string folder_;
};

TEST(FaultsInOpening, NeverGrantAndAlwaysTell)
{
    expectSoundUnderFaults(
        {[](const std::string& folder) { return std::make_unique<Opening>(folder); }, inspectLock});
}

class Refresh : public Scenario {
public:
    enum class Change { Grown, Replaced };

    Refresh(const std::string& folder, Change change)
    {
        publishInAnotherProcess(folder, 1);
        questions_.emplace(folder);
        static_cast<void>(questions_->ask(1));
        if (change == Change::Grown) {
            publishInAnotherProcess(folder, 3);
        } else {
            replace(folder);
        }
        waitUntilTheFilesAreLookedAt();
    }

    Result work() override { return questions_->ask(3); }

private:
    /// Every file by another one of its name.
    static void replace(const std::string& folder)
    {
        publishInAnotherProcess(folder + "/other", 3);
        std::filesystem::rename(cacheFolder(folder), folder + "/retired");
        std::filesystem::rename(cacheFolder(folder + "/other"), cacheFolder(folder));
    }

    std::optional<GenerationQuestions> questions_;
};

TEST(FaultsInARefresh, OfAGrownCacheNeverGrantAndAlwaysTell)
{
    expectSoundUnderFaults(
        {[](const std::string& folder) { return std::make_unique<Refresh>(folder, Refresh::Change::Grown); },
         inspectLock});
}

TEST(FaultsInARefresh, OfAReplacedCacheNeverGrantAndAlwaysTell)
{
    expectSoundUnderFaults({[](const std::string& folder) {
                                return std::make_unique<Refresh>(folder, Refresh::Change::Replaced);
                            },
                            inspectLock});
}

} // namespace
} // namespace keepsafe_test
