#include "daemon/Watchdog.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

#include "daemon/service_manager.h"
#include "service/daemon/NotifySocket.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::Watchdog;
using keepsafe_service::watchdogPeriod;
using std::chrono::microseconds;

class WatchdogTest : public testing::Test {
protected:
    WatchdogTest() { ::setenv("NOTIFY_SOCKET", socket_.name().c_str(), 1); }
    ~WatchdogTest() override
    {
        ::unsetenv("NOTIFY_SOCKET");
        ::unsetenv("WATCHDOG_USEC");
        ::unsetenv("WATCHDOG_PID");
    }

    static std::optional<microseconds> periodOf(const char* period, const std::string& process = "")
    {
        ::setenv("WATCHDOG_USEC", period, 1);
        process.empty() ? ::unsetenv("WATCHDOG_PID") : ::setenv("WATCHDOG_PID", process.c_str(), 1);
        return watchdogPeriod();
    }

    TempDir folder_;
    NotifySocket socket_{folder_.path("notify")};
};

TEST_F(WatchdogTest, SaysThatTheServiceIsWellAgainAndAgain)
{
    const Watchdog watchdog(microseconds(4000), [] { return true; });
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(socket_.received(), "WATCHDOG=1");
    }
}

TEST_F(WatchdogTest, KeepsSilentAboutAServiceThatIsStuck)
{
    std::atomic<int> asked = 0;
    {
        const Watchdog watchdog(microseconds(4000), [&asked] { return ++asked == 3; });
        EXPECT_EQ(socket_.received(), "WATCHDOG=1");
        const int before = asked;
        while (asked < before + 3) {
            std::this_thread::yield();
        }
    }
    EXPECT_TRUE(socket_.isEmpty()) << "one sign of progress, one message";
}

TEST_F(WatchdogTest, DoesNotWaitForAManagerThatDoesNotRead)
{
    std::atomic<int> asked = 0;
    constexpr int more = 100; // than the system keeps for a socket
    const Watchdog watchdog(microseconds(4000), [&asked] { return ++asked > 0; });
    while (asked < more) {
        std::this_thread::yield();
    }
    EXPECT_EQ(socket_.received(), "WATCHDOG=1");
}

TEST_F(WatchdogTest, HasThePeriodThatTheManagerNames)
{
    ::unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(watchdogPeriod(), std::nullopt);
    EXPECT_EQ(periodOf("30000000"), microseconds(30'000'000));
    EXPECT_EQ(periodOf("30000000", std::to_string(::getpid())), microseconds(30'000'000));
    EXPECT_EQ(periodOf("30000000", std::to_string(::getppid())), std::nullopt) << "another process";
    for (const char* const nonsense : {"", "0", "-1", "1s", "99999999999999999999"}) {
        EXPECT_EQ(periodOf(nonsense), std::nullopt) << nonsense;
    }
}

} // namespace
} // namespace keepsafe_test
