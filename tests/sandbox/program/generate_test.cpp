#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>

#include "generate/GeneratedCache.h"
#include "sandbox/support/SandboxRoot.h"
#include "support/CapturedLog.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// ksrbac-sandbox generate, as it is called.

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::GeneratedCache;
using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::Manifest;
using Tessara::Keepsafe::Rbac::OperationCache;

class GenerateProgram : public testing::Test {
protected:
    ProgramResult generate(const std::string& objects, const std::string& seed, const std::string& id) const
    {
        return root_.sandbox({"generate", "--objects", objects, "--seed", seed, "--id", id});
    }
    std::string cacheDirectory(const std::string& id) const
    {
        return root_.path("wmc/webserver/temp/access-caches/" + id);
    }

    SandboxRoot root_;
    CapturedLog log_;
};

TEST_F(GenerateProgram, PublishesACacheWithItsOperations)
{
    const ProgramResult result = generate("1000", "5", "large");

    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.output, cacheDirectory("large") + ": generation 1, 1137 objects, seed 5\n");
    EXPECT_EQ(result.errors, "") << "no progress bar without a terminal";
    const AccessCache cache(Manifest("large", cacheDirectory("large")));
    EXPECT_EQ(cache.manifest().ns, GeneratedCache::rootNamespace());
    EXPECT_NE(cache.lock().lookup(GeneratedCache::leafNamespace(999)), nullptr);
    OperationCache operations;
    EXPECT_EQ(operations[GeneratedCache::operationNamespace(63)]->offset,
              GeneratedCache::operationBit(63).offset);
}

TEST_F(GenerateProgram, WritesTheSameFilesForTheSameSeed)
{
    generate("1000", "5", "one");
    generate("1000", "5", "two");
    generate("1000", "6", "three");

    const auto bytesOf = [this](const std::string& id) {
        return readFile(cacheDirectory(id) + "/objects") + readFile(cacheDirectory(id) + "/nodes") +
               readFile(cacheDirectory(id) + "/segments") + readFile(cacheDirectory(id) + "/metadata") +
               readFile(cacheDirectory(id) + "/manifest.json") + readFile(cacheDirectory(id) + "/counts");
    };
    EXPECT_EQ(bytesOf("one"), bytesOf("two"));
    EXPECT_NE(bytesOf("one"), bytesOf("three"));
}

TEST_F(GenerateProgram, StandsBesideACompiledPolicy)
{
    const ProgramResult compiled =
        root_.sandbox({"compile", KEEPSAFE_EXAMPLE_POLICIES "/company.json", "--id", "company"});

    EXPECT_EQ(compiled.exitStatus, 0);
    EXPECT_EQ(generate("10", "1", "small").exitStatus, 0);
}

TEST_F(GenerateProgram, NeedsATenthOfItsLimitsForATenthOfAMillionObjects)
{
    // Keeps the memory that AddressSanitizer sets aside out of the measure.
    ::setenv("ASAN_OPTIONS", "quarantine_size_mb=1", 0);
    const ProgramResult result = generate("100000", "1", "large");

    ASSERT_EQ(result.exitStatus, 0);
    const double seconds =
        static_cast<double>(result.usage.ru_utime.tv_sec + result.usage.ru_stime.tv_sec) +
        1e-6 * static_cast<double>(result.usage.ru_utime.tv_usec + result.usage.ru_stime.tv_usec);
    EXPECT_LT(seconds, 2.0) << "of the processor's time; 20 s for a million";
    EXPECT_LT(result.usage.ru_maxrss, 205 * 1024) << "KiB of memory; 2 GiB for a million";
}

} // namespace
} // namespace keepsafe_test
