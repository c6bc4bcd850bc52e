#include <keepsafe/platform/dal/Dal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;

class Pool : public testing::Test {
protected:
    Pool()
    {
        settings.connectionString = "Driver=SQLite3;NoCreat=0;Database=" + folder.path("main.db") + ";";
    }

    TempDir folder;
    Dal::DbConnectionSettings settings;
};

TEST_F(Pool, ConnectsOnDemandAndKeepsTheConnection)
{
    Dal::DbConnectionManager manager(settings);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    ASSERT_EQ(runCommand(manager, "CREATE TEMPORARY TABLE Mine (Name TEXT)"), 0);
    EXPECT_EQ(manager.connectionIndicator(), 1U);
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT Name FROM Mine", text), Dal::STATUS_NO_MORE_ROWS)
        << "only the connection that made it has the table";
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_F(Pool, LendsAConnectionToOneGuardAtATime)
{
    Dal::DbConnectionManager manager(settings);
    const Session first(manager);
    const Session second(manager);
    EXPECT_NE(first.connection, second.connection);
    EXPECT_EQ(first.view.status(), 0);
    EXPECT_EQ(manager.connectionIndicator(), 2U);
}

TEST_F(Pool, WaitsForAConnectionAsLongAsItTakesWithoutATimeout)
{
    settings.maximumConnections = 1;
    settings.connectTimeoutSeconds = 0;
    Dal::DbConnectionManager manager(settings);
    auto lent = std::make_unique<Session>(manager);
    std::atomic<bool> isWaiting{true};
    int status = -1;
    std::thread other([&] {
        status = Session(manager).guard.status();
        isWaiting = false;
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_TRUE(isWaiting);
    lent.reset();
    other.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_F(Pool, GivesAStatusWhenAllConnectionsStayLent)
{
    settings.maximumConnections = 2;
    settings.connectTimeoutSeconds = 1;
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log;
    {
        const Session first(manager);
        const Session second(manager);
        const auto start = std::chrono::steady_clock::now();
        const Session third(manager);
        EXPECT_EQ(third.guard.status(), Dal::STATUS_NO_FREE_CONNECTION);
        EXPECT_EQ(third.connection, nullptr);
        EXPECT_EQ(third.view.status(), Dal::STATUS_BAD_CALL);
        EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(900));
        EXPECT_THAT(log.lines(),
                    ElementsAre(LogLine{16, "SSRGuard::SSRGuard", "all 2 connections are in use"}));
    }
    EXPECT_EQ(Session(manager).guard.status(), 0);
}

TEST_F(Pool, HandsAConnectionOverToAGuardThatWaits)
{
    settings.maximumConnections = 1;
    Dal::DbConnectionManager manager(settings);
    auto session = std::make_unique<Session>(manager);
    std::atomic<bool> waits{false};
    int status = -1;
    std::thread waiter([&] {
        waits = true;
        status = Session(manager).guard.status();
    });
    while (!waits) {
        std::this_thread::yield();
    }
    session.reset();
    waiter.join();
    EXPECT_EQ(status, 0);
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_F(Pool, NeverHasMoreConnectionsThanItMay)
{
    settings.maximumConnections = 2;
    settings.minimumConnections = 0;
    settings.idleSeconds = 0;
    Dal::DbConnectionManager manager(settings);
    std::atomic<unsigned int> lent{0};
    std::atomic<unsigned int> most{0};
    std::atomic<unsigned int> answered{0};
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                Session session(manager);
                const unsigned int now = ++lent;
                for (unsigned int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
                }
                answered += session.query("SELECT 1") == 0 ? 1 : 0;
                --lent;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(answered, 160U);
    EXPECT_LE(most, 2U);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
}

TEST_F(Pool, KeepsNoMoreIdleConnectionsThanItsMinimumWhenTheyMayNotBeIdle)
{
    settings.idleSeconds = 0;
    for (const unsigned int minimum : {0U, 1U, 2U}) {
        settings.minimumConnections = minimum;
        Dal::DbConnectionManager manager(settings);
        {
            const Session first(manager);
            const Session second(manager);
            const Session third(manager);
        }
        EXPECT_EQ(manager.connectionIndicator(), minimum);
    }
}

TEST_F(Pool, ClosesAConnectionThatIsIdleForLong)
{
    settings.idleSeconds = 1;
    Dal::DbConnectionManager manager(settings);
    {
        const Session first(manager);
        const Session second(manager);
    }
    EXPECT_EQ(manager.connectionIndicator(), 2U);
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (manager.connectionIndicator() == 2 && std::chrono::steady_clock::now() < limit) {
        ASSERT_EQ(Session(manager).guard.status(), 0); // the other one becomes older
    }
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_F(Pool, ForgetsAnAttemptThatFailed)
{
    settings.maximumConnections = 1;
    settings.connectionString = "Driver=SQLite3;Database=" + folder.path("later/main.db") + ";";
    Dal::DbConnectionManager manager(settings);
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
        EXPECT_EQ(manager.connectionIndicator(), 0U);
    }
    writeFile(folder.path("later/main.db"), "");
    EXPECT_EQ(Session(manager).guard.status(), 0);
}

TEST_F(Pool, RepeatsAnAttemptAsOftenAsItIsTold)
{
    settings.connectionString = "Driver=SQLite3;Database=" + folder.path("nowhere/main.db") + ";";
    settings.connectRetries = 2;
    settings.retryWaitSeconds = 0;
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log;
    EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(log.lines().size(), 3U);
}

TEST_F(Pool, TakesAMaximumOfNoneForOne)
{
    settings.maximumConnections = 0;
    Dal::DbConnectionManager manager(settings);
    EXPECT_EQ(Session(manager).guard.status(), 0);
}

TEST_F(Pool, RefusesAConnectionStringThatNoDriverTakes)
{
    for (const std::string& text : {std::string(40000, 'x'), std::string("Driver=SQLite3\0;", 16)}) {
        settings.connectionString = text;
        Dal::DbConnectionManager manager(settings);
        const CapturedLog log;
        EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
        EXPECT_THAT(log.lines(),
                    ElementsAre(LogLine{16, "DbConnectionManager::connect",
                                        "the connection string is too long or holds a zero byte"}));
    }
}

TEST_F(Pool, RefusesToConnectWithoutAConnectionString)
{
    Dal::DbConnectionManager manager(Dal::DbConnectionSettings{});
    const CapturedLog log;
    EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_NOT_CONFIGURED);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnectionManager::connect",
                                                 "no database connection is configured"}));
}

TEST(Guard, WithoutAManagerHasNoConnection)
{
    auto* connection = reinterpret_cast<Dal::SSRDbConnection*>(8); // NOLINT(performance-no-int-to-ptr)
    const Dal::SSRGuard guard(nullptr, connection);
    EXPECT_EQ(guard.status(), Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection, nullptr);
}

} // namespace
} // namespace keepsafe_test
