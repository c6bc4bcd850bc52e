#include <keepsafe/rbac/questions/cache_state.h>

#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>

#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "RandomPolicy.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::cacheState;
using Tessara::Keepsafe::Rbac::CacheState;
using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::StubAccessControlClient;

class CacheStateTest : public testing::Test {
protected:
    CacheStateTest() { publish(0); }

    void publish(std::uint8_t writeInProgress)
    {
        CacheWriter cache(RandomPolicy(3).model, {});
        cache.metadata.writeInProgress = writeInProgress;
        records_ = cache.objects.size() - 1;
        cache.write(disk_.directory());
    }

    PolicyOnDisk disk_;
    std::size_t records_ = 0;
};

TEST_F(CacheStateTest, OfAnotherWriterHasNoGenerationAndCountsByTheSizesOfTheFiles)
{
    const auto state = cacheState(*disk_.open());
    ASSERT_TRUE(state);
    EXPECT_FALSE(state->generation);
    EXPECT_FALSE(state->accessDefinitions);
    EXPECT_FALSE(state->isInterrupted);
    EXPECT_EQ(state->objects, records_);
}

TEST_F(CacheStateTest, AnInterruptedWriteIsPartOfTheAnswer)
{
    publish(1);
    EXPECT_TRUE(cacheState(disk_.directory()).isInterrupted);
}

TEST_F(CacheStateTest, TheAgeIsThatOfTheLastWrite)
{
    const auto path = disk_.directory() + "/metadata";
    std::filesystem::last_write_time(path,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(2));
    const CacheState state = cacheState(disk_.directory());
    EXPECT_GE(state.age, std::chrono::hours(2));
    EXPECT_LT(state.age, std::chrono::hours(3));
    std::filesystem::last_write_time(path,
                                     std::filesystem::file_time_type::clock::now() + std::chrono::hours(2));
    EXPECT_EQ(cacheState(disk_.directory()).age, std::chrono::nanoseconds(0));
}

TEST_F(CacheStateTest, StampsAreEqualUntilSomethingIsWritten)
{
    const std::string stamp = cacheState(disk_.directory()).stamp;
    EXPECT_EQ(cacheState(*disk_.open())->stamp, stamp);
    std::filesystem::last_write_time(disk_.directory() + "/metadata",
                                     std::filesystem::file_time_type::clock::now() - std::chrono::seconds(1));
    EXPECT_NE(cacheState(disk_.directory()).stamp, stamp);
}

TEST_F(CacheStateTest, WithoutEnforcementThereIsNone)
{
    StubAccessControlClient stub;
    EXPECT_FALSE(cacheState(stub));
}

TEST_F(CacheStateTest, AHeaderThatIsMissingOrCutIsStatus12)
{
    const CapturedLog log(1000);
    const std::string header = readFile(disk_.directory() + "/metadata");
    writeFile(disk_.directory() + "/metadata", header.substr(0, header.size() - 1));
    EXPECT_EQ(thrownStatus([this] { (void)cacheState(disk_.directory()); }), 12);
    std::filesystem::remove(disk_.directory() + "/metadata");
    EXPECT_EQ(thrownStatus([this] { (void)cacheState(disk_.directory()); }), 12);
    std::filesystem::remove(disk_.directory() + "/manifest.json");
    EXPECT_EQ(thrownStatus([this] { (void)cacheState(disk_.directory()); }), 12);
}

TEST_F(CacheStateTest, AHeaderThatCannotBeReadIsStatus12AndNamed)
{
    const CapturedLog log;
    const std::string path = disk_.directory() + "/metadata";
    std::filesystem::remove(path);
    std::filesystem::create_symlink("/proc/self/mem", path); // nothing is mapped at its start
    EXPECT_EQ(thrownStatus([this] { (void)cacheState(disk_.directory()); }), 12);
    EXPECT_THAT(log.lines(), testing::Contains(LogLine{16, "cacheState", path + ": Input/output error"}));
}

} // namespace
} // namespace keepsafe_test
