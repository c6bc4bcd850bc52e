#include "world_writable.h"

#include <mutex>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::diagnostics::warnedPaths;
using Tessara::Keepsafe::diagnostics::warnedPathsMutex;
using Tessara::Keepsafe::diagnostics::warnIfWorldWritable;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class WorldWritable : public testing::Test {
protected:
    WorldWritable()
    {
        setMode(0777);
        warnedPaths->clear();
    }

    void setMode(mode_t mode) { EXPECT_EQ(::chmod(path().c_str(), mode), 0); }
    [[nodiscard]] std::string path() const { return folder_.path(); }
    void warn() { warnIfWorldWritable("tag", path()); }

    const CapturedLog log_;

private:
    const TempDir folder_;
};

TEST_F(WorldWritable, IsToldOnceForEachPath)
{
    warn();
    warn();
    warnIfWorldWritable("another tag", path());
    warnIfWorldWritable("another tag", path() + "/");
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{8, "tag", path() + " is writable by everybody"},
                                          LogLine{8, "another tag", path() + "/ is writable by everybody"}));
}

TEST_F(WorldWritable, IsWhatEverybodyMayWriteAndNotOnlyOwnersMayRemove)
{
    for (const mode_t mode : {0775U, 01777U, 01775U}) {
        setMode(mode);
        warn();
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
    setMode(0702);
    warn();
    EXPECT_THAT(log_.lines(), SizeIs(1));
}

TEST_F(WorldWritable, IsNotSaidOfWhatIsMissing)
{
    warnIfWorldWritable("tag", path() + "/missing");
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(WorldWritable, IsToldOfAThousandPathsAtMost)
{
    std::string spelling = path();
    for (int number = 0; number <= 1000; ++number, spelling += '/') {
        warnIfWorldWritable("tag", spelling);
    }
    EXPECT_THAT(log_.lines(), SizeIs(1000));
}

TEST_F(WorldWritable, IsToldWithoutWaitingForAnotherThread)
{
    warn();
    const std::lock_guard<std::mutex> held(warnedPathsMutex);
    std::thread([this] { warn(); }).join();
    EXPECT_THAT(log_.lines(), SizeIs(2));
}

} // namespace
} // namespace keepsafe_test
