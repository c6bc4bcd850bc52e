#include <keepsafe/platform/filelock/LockWaitListener.h>

#include <atomic>
#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "LockHolder.h"
#include "support/TempDir.h"
#include "taking.h"

namespace keepsafe_test {
namespace {

namespace Platform = Tessara::Keepsafe::Platform;

/// Lets a wait go on for so many milliseconds.
class Patience final : public Platform::LockWaitListener {
public:
    explicit Patience(long mostMilliseconds)
        : milliseconds_(mostMilliseconds), before_(Platform::setLockWaitListener(this))
    {
    }
    ~Patience() override { Platform::setLockWaitListener(before_); }

    [[nodiscard]] bool mayWait(const std::string& lockName, long waitedMilliseconds) noexcept override
    {
        name = lockName;
        ++calls;
        return waitedMilliseconds < milliseconds_;
    }

    std::string name;
    std::atomic<int> calls{0};

private:
    const long milliseconds_;
    Platform::LockWaitListener* const before_;
};

class LockWaitListenerTest : public testing::Test {
protected:
    LockWaitListenerTest() { writeFile(path_, ""); }

    TempDir directory_;
    const std::string path_ = directory_.path("lock");
    const FileLock lock_ = FileLockManager::instance().getLock(path_);
};

TEST_F(LockWaitListenerTest, EndsAWaitWithoutATimeout)
{
    LockHolder writer(path_, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    Patience patience(20);
    EXPECT_THROW(take(lock_, FileLock::SHARED, FileLock::WAIT_FOREVER), FileLockTimeout);
    EXPECT_EQ(patience.name, path_);
    EXPECT_GT(patience.calls, 1);
}

TEST_F(LockWaitListenerTest, IsNotAskedForALockThatIsFree)
{
    const Patience patience(0);
    take(lock_, FileLock::SHARED, FileLock::WAIT_FOREVER);
    EXPECT_EQ(patience.calls, 0);
}

TEST_F(LockWaitListenerTest, LeavesATimeoutAsItIs)
{
    LockHolder writer(path_, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    const Patience patience(1'000'000);
    EXPECT_THROW(take(lock_, FileLock::SHARED, 20), FileLockTimeout);
    EXPECT_GT(patience.calls, 1);
}

TEST_F(LockWaitListenerTest, WithoutOneTheGuardAloneDecides)
{
    EXPECT_EQ(Platform::setLockWaitListener(nullptr), nullptr);
    LockHolder writer(path_, "exclusive", AT_ONCE);
    ASSERT_EQ(writer.outcome(), "held");
    EXPECT_THROW(take(lock_, FileLock::SHARED, 20), FileLockTimeout);
}

} // namespace
} // namespace keepsafe_test
