// What the shared lock costs in time, beside the bare system calls. Not part of sanitizer builds, whose times
// mean nothing.

#include <algorithm>
#include <chrono>
#include <functional>
#include <stdexcept>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using Clock = std::chrono::steady_clock;

void setLock(int descriptor, int type)
{
    struct flock request {};
    request.l_type = static_cast<short>(type);
    request.l_whence = SEEK_SET;
    request.l_len = 1;
    if (fcntl(descriptor, F_OFD_SETLK, &request) != 0) {
        throw std::runtime_error("fcntl");
    }
}

/// The shortest time of many short runs: noise only lengthens them.
class ShortestRun {
public:
    void measure(const std::function<void()>& work)
    {
        const Clock::time_point start = Clock::now();
        for (int i = 0; i < PAIRS; ++i) {
            work();
        }
        shortest_ = std::min(shortest_, Clock::now() - start);
    }
    [[nodiscard]] double nanosecondsPerPair() const
    {
        return std::chrono::duration<double, std::nano>(shortest_).count() / PAIRS;
    }

private:
    static constexpr int PAIRS = 400;

    Clock::duration shortest_ = Clock::duration::max();
};

TEST(LockTimeTest, SharedPairTakesAtMostTwoAndAHalfTimesABarePairOfSystemCalls)
{
    const TempDir directory;
    const std::string path = directory.path("manifest.json");
    writeFile(path, "");
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    const FileLock lock = FileLockManager::instance().getLock(path);
    ShortestRun bare;
    ShortestRun guarded;
    for (int round = 0; round < 400; ++round) {
        bare.measure([&] {
            setLock(descriptor, F_RDLCK);
            setLock(descriptor, F_UNLCK);
        });
        guarded.measure([&] {
            const FileLockGuard guard(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                      FileLock::DEFAULT_INTERVAL);
        });
    }
    close(descriptor);
    RecordProperty("bare_pair_ns", std::to_string(bare.nanosecondsPerPair()));
    RecordProperty("shared_pair_ns", std::to_string(guarded.nanosecondsPerPair()));
    EXPECT_LE(guarded.nanosecondsPerPair(), 2.5 * bare.nanosecondsPerPair());
}

} // namespace
} // namespace keepsafe_test
