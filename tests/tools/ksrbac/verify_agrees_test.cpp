#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <boost/lexical_cast.hpp>
#include <gtest/gtest.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/Manifest.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "SampleCache.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"
#include "verify/cache_report.h"

// What the library refuses as damaged, verification must have found: over caches with flipped bytes and cut
// files.

namespace keepsafe_test {
namespace {

namespace Rbac = Tessara::Keepsafe::Rbac;

class VerifyAgrees : public testing::Test {
protected:
    /// Whether one of many questions makes the library refuse the cache.
    [[nodiscard]] bool isRefused() const
    {
        try {
            const Rbac::Manifest manifest("cache", directory_);
            const Rbac::AccessCache cache(manifest);
            const auto reader = cache.lock();
            for (const auto& name : names_) {
                const Rbac::ManagedObject* object = reader.lookup(name);
                for (const int role : {-4, 3, 5, 9, 0, 1'000'000, -1'000'000}) {
                    for (const std::int32_t bit : {0, 32, 33, 7 * 32, 2'000'000'000}) {
                        answers_ += object != nullptr && reader.getOperationBit(*object, role, {bit}) ? 1 : 0;
                        answers_ +=
                            object != nullptr && reader.getChildOperationBit(*object, role, {bit}) ? 1 : 0;
                    }
                }
            }
            return false;
        } catch (const EC_exception&) {
            return true;
        }
    }

    [[nodiscard]] std::size_t faultCount() const
    {
        ksrbac::FaultList faults(3);
        (void)ksrbac::examineCache(directory_, faults);
        return faults.count();
    }

    void expectFoundIfRefused(const std::string& what)
    {
        const bool refused = isRefused();
        refusedCount_ += refused ? 1 : 0;
        EXPECT_TRUE(!refused || faultCount() > 0) << what;
    }

    TempDir dir_;
    std::string directory_ = dir_.path("cache");
    CapturedLog log_{17};
    std::vector<Rbac::ObjectNamespace> names_ = [] {
        std::vector<Rbac::ObjectNamespace> names;
        for (const char* text : {"|", "|A|", "|B|", "|C|", "|A|x|", "|D|", "|A|y|", "|A|x|longer|"}) {
            names.push_back(boost::lexical_cast<Rbac::ObjectNamespace>(text));
        }
        return names;
    }();
    mutable std::size_t answers_ = 0;
    std::size_t refusedCount_ = 0;
};

TEST_F(VerifyAgrees, AboutFlippedBytes)
{
    sampleCache().write(directory_);
    std::mt19937 random(20240611); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage in every run
    for (const char* name : {"metadata", "segments", "objects", "nodes"}) {
        const std::string path = directory_ + '/' + name;
        const std::string good = readFile(path);
        for (std::size_t i = 0; i < good.size(); ++i) {
            std::string damaged = good;
            damaged[i] = static_cast<char>(static_cast<unsigned char>(damaged[i]) ^ (1U << (random() % 8)));
            writeFile(path, damaged);
            expectFoundIfRefused(name + (" byte " + std::to_string(i)));
        }
        writeFile(path, good);
    }
    EXPECT_GT(refusedCount_, 50U) << "the damage must matter";
    EXPECT_GT(answers_, 0U);
}

TEST_F(VerifyAgrees, AboutCutFiles)
{
    sampleCache().write(directory_);
    for (const char* name : {"manifest.json", "metadata", "segments", "objects", "nodes"}) {
        const std::string path = directory_ + '/' + name;
        const std::string good = readFile(path);
        for (std::size_t size = 0; size < good.size(); ++size) {
            writeFile(path, good.substr(0, size));
            expectFoundIfRefused(name + (" cut to " + std::to_string(size)));
        }
        writeFile(path, good);
    }
    EXPECT_GT(refusedCount_, 50U) << "the damage must matter";
}

TEST_F(VerifyAgrees, RandomRecordsNeverStopIt)
{
    std::mt19937 random(7); // NOLINT(cert-msc32-c,cert-msc51-cpp): the same damage in every run
    for (int round = 0; round < 200; ++round) {
        CacheWriter cache = sampleCache();
        // Offsets mostly within the files, so that trees tangle.
        const auto offset = [&random](std::size_t records, std::size_t bytes) {
            return static_cast<Rbac::NodeOffset>(random() % (records * bytes + 8));
        };
        for (auto& record : cache.segments) {
            record.left = offset(cache.segments.size(), 32);
            record.right = offset(cache.segments.size(), 32);
            record.nextLevel = offset(cache.segments.size(), 32);
            record.object = offset(cache.objects.size(), 16);
        }
        for (auto& record : cache.nodes) {
            record.left = offset(cache.nodes.size(), 24);
            record.right = offset(cache.nodes.size(), 24);
            record.value = offset(cache.nodes.size(), 24);
        }
        cache.write(directory_);
        expectFoundIfRefused("round " + std::to_string(round));
        EXPECT_GT(faultCount(), 0U);
    }
}

} // namespace
} // namespace keepsafe_test
