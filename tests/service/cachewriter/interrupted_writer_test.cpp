#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "cachewriter/CachePublisher.h"
#include "cachewriter/ImageBuilder.h"
#include "cachewriter/publish_cache.h"
#include "service/support/Generations.h"
#include "service/support/InterruptedFileSystem.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// The writer is stopped at each of its steps in turn; then readers look at what it left, and the next writer
/// repairs it.

namespace keepsafe_test {
namespace {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheLocation;
using keepsafe_service::CacheObject;
using keepsafe_service::CachePublisher;
using keepsafe_service::FileSystem;
using keepsafe_service::ImageBuilder;
using keepsafe_service::OperationBits;
using keepsafe_service::publishCache;
using keepsafe_service::Renumber;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::Operation;
using Tessara::Keepsafe::Rbac::OperationCache;
using Interruption = InterruptedFileSystem::Interruption;

class InterruptedWriter : public testing::TestWithParam<Interruption> {
protected:
    /// Runs the writer up to a step in a process of its own. False when it came to its end without meeting
    /// the step.
    template <typename Writer>
    static bool isInterruptedAt(std::size_t step, const Writer& writer)
    {
        const ProcessEnd end = Process::fork([&] {
                                   InterruptedFileSystem fileSystem(step, GetParam());
                                   try {
                                       writer(fileSystem);
                                       return 0;
                                   } catch (const std::runtime_error&) {
                                       return 1;
                                   }
                               }).wait();
        const bool isWhole = end.exitStatus == 0 && end.signal == 0;
        EXPECT_TRUE(isWhole ||
                    (GetParam() == Interruption::Failure ? end.exitStatus == 1 : end.signal == SIGKILL));
        return !isWhole;
    }

    TempDir dir_;
    CapturedLog log_;
};

const auto EVERY_INTERRUPTION =
    testing::Values(Interruption::Death, Interruption::DeathInTheMiddle, Interruption::Failure);

std::string nameOf(const testing::TestParamInfo<Interruption>& test)
{
    switch (test.param) {
    case Interruption::Death:
        return "Death";
    case Interruption::DeathInTheMiddle:
        return "DeathInTheMiddle";
    case Interruption::Failure:
        break;
    }
    return "Failure";
}

INSTANTIATE_TEST_SUITE_P(Interruptions, InterruptedWriter, EVERY_INTERRUPTION, nameOf);

void publish(FileSystem& fileSystem, const std::string& directory, unsigned generation)
{
    CachePublisher(fileSystem).publish(directory, ObjectNamespace("VAULT"), imageOfGeneration(generation));
}

void publishWhole(const std::string& directory, unsigned generation)
{
    UnsyncedFileSystem fileSystem;
    publish(fileSystem, directory, generation);
}

/// The order of findings that a writer without fault leaves, step by step: the generation before, then
/// refusal, then the new generation, and never back.
void expectInOrder(const std::vector<std::string>& findings, const std::vector<std::string>& order)
{
    std::vector<std::string> stages = findings;
    stages.erase(std::unique(stages.begin(), stages.end()), stages.end());
    EXPECT_EQ(stages, order);
}

class InterruptedChange : public InterruptedWriter {
protected:
    void expectOldThenRefusedThenNew(unsigned before, unsigned after)
    {
        const std::string directory = dir_.path("vault");
        publishWhole(directory, before);
        const AccessCache openAllTheTime(Manifest("id", directory));
        std::vector<std::string> findings;
        const auto writer = [&](FileSystem& fileSystem) { publish(fileSystem, directory, after); };
        for (std::size_t step = 0; isInterruptedAt(step, writer); ++step) {
            findings.push_back(findingIn(directory));
            EXPECT_EQ(findingOf(openAllTheTime), findings.back()) << "after step " << step;

            publishWhole(directory, after);
            EXPECT_EQ(findingIn(directory), "generation " + std::to_string(after)) << "after step " << step;
            EXPECT_EQ(findingOf(openAllTheTime), findingIn(directory)) << "after step " << step;
            publishWhole(directory, before);
        }
        expectInOrder(findings, {"generation " + std::to_string(before), "refused",
                                 "generation " + std::to_string(after)});
    }
};

INSTANTIATE_TEST_SUITE_P(Interruptions, InterruptedChange, EVERY_INTERRUPTION, nameOf);

TEST_P(InterruptedChange, ToMoreLeavesOneWholeGenerationOrARefusal) { expectOldThenRefusedThenNew(1, 4); }

// Generation 0 has no objects and so no root.
TEST_P(InterruptedChange, FromNothingLeavesOneWholeGenerationOrARefusal)
{
    expectOldThenRefusedThenNew(0, 2);
}

TEST_P(InterruptedChange, ToNothingLeavesOneWholeGenerationOrARefusal) { expectOldThenRefusedThenNew(2, 0); }

TEST_P(InterruptedChange, ToLessLeavesOneWholeGenerationOrARefusal) { expectOldThenRefusedThenNew(4, 1); }

TEST_P(InterruptedWriter, OfANewCacheLeavesARefusalUntilItIsWhole)
{
    std::vector<std::string> findings;
    const auto directoryOf = [this](std::size_t step) { return dir_.path("vault-" + std::to_string(step)); };
    std::size_t step = 0;
    const auto writer = [&](FileSystem& fileSystem) { publish(fileSystem, directoryOf(step), 2); };
    for (; isInterruptedAt(step, writer); ++step) {
        findings.push_back(findingIn(directoryOf(step)));
        publishWhole(directoryOf(step), 3);
        EXPECT_EQ(findingIn(directoryOf(step)), "generation 3") << "after step " << step;
    }
    expectInOrder(findings, {"refused", "generation 2"});
}

/// Role 1 holds ADD and must never be found to hold VIEW; the two change their bits.
struct Numbering {
    std::int32_t viewBit;
    std::int32_t addBit;
};

const ObjectNamespace VIEWING("OPERATIONS", "VIEW");
const ObjectNamespace ADDING("OPERATIONS", "ADD");

void publishNumbering(FileSystem& fileSystem, const std::string& root, Numbering numbering)
{
    CacheObject object;
    object.ns = ObjectNamespace("VAULT");
    object.own.add(1, Operation{numbering.addBit});
    ImageBuilder builder;
    builder.add(object);
    publishCache(fileSystem, CacheLocation(root, "vault"), ObjectNamespace("VAULT"),
                 std::move(builder).build(),
                 OperationBits{{VIEWING, numbering.viewBit}, {ADDING, numbering.addBit}}, Renumber::Allow);
}

/// What a process that starts now finds.
std::string decisionsIn(const std::string& root)
{
    try {
        OperationCache operations;
        const auto view = operations[VIEWING];
        const auto add = operations[ADDING];
        const AccessCache cache(Manifest("vault", CacheLocation(root, "vault").accessCache()));
        const AccessCache::Reader reader = cache.lock();
        const ObjectNamespace object("VAULT");
        return std::string("view ") + (reader.getOperationBit(object, 1, *view) ? "granted" : "refused") +
               ", add " + (reader.getOperationBit(object, 1, *add) ? "granted" : "refused");
    } catch (const EC_exception& failure) {
        return "status " + std::to_string(failure.status());
    }
}

TEST_P(InterruptedWriter, NeverPairsNewBitsOfOperationsWithAnOldCache)
{
    const TempRoot root;
    const Numbering before{1, 2};
    const Numbering after{2, 1};
    UnsyncedFileSystem wholeFileSystem;
    publishNumbering(wholeFileSystem, root.path(), before);
    std::vector<std::string> findings;
    const auto writer = [&](FileSystem& fileSystem) { publishNumbering(fileSystem, root.path(), after); };
    for (std::size_t step = 0; isInterruptedAt(step, writer); ++step) {
        findings.push_back(decisionsIn(root.path()));
        publishNumbering(wholeFileSystem, root.path(), after);
        publishNumbering(wholeFileSystem, root.path(), before);
    }
    expectInOrder(findings, {"view refused, add granted", "status 12", "view refused, add granted"});
}

} // namespace
} // namespace keepsafe_test
