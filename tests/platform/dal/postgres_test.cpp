/// What the layer does when a real server is slow, full, killed or restarted. Each test has a server of its
/// own.

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/PrivatePostgres.h"

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

/// More than any bound that the tests set, less than any pause that they ask the server for.
constexpr std::chrono::seconds LONG{30};

class Stopwatch {
public:
    [[nodiscard]] std::chrono::steady_clock::duration elapsed() const
    {
        return std::chrono::steady_clock::now() - start_;
    }

private:
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

Dal::DbConnectionSettings settingsFor(const PrivatePostgres& server)
{
    Dal::DbConnectionSettings settings;
    settings.connectionString = server.connectionString();
    settings.connectTimeoutSeconds = 5;
    settings.queryTimeoutSeconds = 50;
    return settings;
}

int selectOne(Dal::DbConnectionManager& manager)
{
    std::string text;
    return queryText(manager, "SELECT 1", text);
}

/// Waits until another connection is in the middle of pg_sleep.
void awaitSleeper(Dal::DbConnectionManager& observer)
{
    std::string count = "0";
    while (count == "0") {
        ASSERT_EQ(
            queryText(observer, "SELECT COUNT(*) FROM pg_stat_activity WHERE wait_event = 'PgSleep'", count),
            0);
    }
}

/// Leaves `count` idle connections in the pool.
void fillPool(Dal::DbConnectionManager& manager, unsigned int count)
{
    std::vector<std::unique_ptr<Session>> sessions;
    for (unsigned int at = 0; at < count; ++at) {
        sessions.push_back(std::make_unique<Session>(manager));
        ASSERT_EQ(sessions.back()->query("SELECT 1"), 0);
    }
    ASSERT_EQ(manager.connectionIndicator(), count);
}

TEST(PostgresServer, MayRestartWhileConnectionsAreIdle)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    fillPool(manager, 3);
    const CapturedLog log(8);
    for (int round = 0; round < 2; ++round) {
        server.stop();
        server.start();
        EXPECT_EQ(selectOne(manager), 0);
        EXPECT_EQ(manager.connectionIndicator(), 1U) << "the other idle connections are dead as well";
    }
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0].level, 8);
    EXPECT_EQ(log.lines()[0].tag, "DbConnection::Execute");
    EXPECT_THAT(
        log.lines()[0].text,
        testing::StartsWith("an idle connection to the database was lost, connecting again: SQLSTATE "));
}

TEST(PostgresServer, MayRestartWithoutACommandRunningTwice)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    fillPool(manager, 2);
    server.stop();
    server.start();
    EXPECT_EQ(runCommand(manager, "CREATE TABLE things (name TEXT)"), Dal::STATUS_CONNECTION_LOST);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    EXPECT_EQ(runCommand(manager, "CREATE TABLE things (name TEXT)"), 0);
}

TEST(PostgresServer, GivesAStatusWhileItIsDown)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    fillPool(manager, 2);
    server.kill();
    const CapturedLog log(16);
    const Stopwatch stopwatch;
    EXPECT_EQ(selectOne(manager), Dal::STATUS_CONNECTION_LOST);
    EXPECT_EQ(selectOne(manager), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    EXPECT_LT(stopwatch.elapsed(), LONG);
    ASSERT_EQ(log.lines().size(), 3U);
    EXPECT_EQ(log.lines()[1],
              (LogLine{16, "DbConnection::Execute", "the connection is lost and could not be replaced"}));
    EXPECT_EQ(log.lines()[2].tag, "DbConnectionManager::connect");
    EXPECT_THAT(log.lines()[2].text, HasSubstr("cannot connect to the database, SQLSTATE 08001: "));
    server.start();
    EXPECT_EQ(selectOne(manager), 0);
}

TEST(PostgresServer, GivesAStatusWhenItIsKilledInTheMiddleOfAQuery)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    Dal::DbConnectionManager observer(settingsFor(server));
    const CapturedLog log(16);
    const Stopwatch stopwatch;
    int status = 0;
    std::thread query([&] {
        std::string text;
        status = queryText(manager, "SELECT pg_sleep(40)", text);
    });
    awaitSleeper(observer);
    server.kill();
    query.join();
    EXPECT_EQ(status, Dal::STATUS_CONNECTION_LOST);
    EXPECT_LT(stopwatch.elapsed(), LONG);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    server.start();
    EXPECT_EQ(selectOne(manager), 0);
}

TEST(PostgresServer, MayEndOneConnectionInTheMiddleOfAQuery)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    Dal::DbConnectionManager observer(settingsFor(server));
    int status = 0;
    std::thread query([&] {
        std::string text;
        status = queryText(manager, "SELECT pg_sleep(40)", text);
    });
    awaitSleeper(observer);
    std::string ended;
    EXPECT_EQ(
        queryText(observer,
                  "SELECT pg_terminate_backend(pid)::text FROM pg_stat_activity WHERE wait_event = 'PgSleep'",
                  ended),
        0);
    query.join();
    EXPECT_EQ(status, Dal::STATUS_CONNECTION_LOST);
    EXPECT_EQ(selectOne(manager), 0);
    EXPECT_EQ(selectOne(observer), 0);
}

TEST(PostgresServer, MayRefuseAConnectionBecauseItIsFull)
{
    PrivatePostgres server({"max_connections=3", "superuser_reserved_connections=0"});
    Dal::DbConnectionManager greedy(settingsFor(server));
    Dal::DbConnectionManager late(settingsFor(server));
    {
        const Session first(greedy);
        const Session second(greedy);
        const Session third(greedy);
        ASSERT_EQ(third.guard.status(), 0);
        const CapturedLog log(16);
        EXPECT_EQ(selectOne(late), Dal::STATUS_CONNECT_FAILED);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_THAT(log.lines()[0].text, HasSubstr("too many clients"));
        EXPECT_EQ(late.connectionIndicator(), 0U);
    }
    EXPECT_EQ(selectOne(greedy), 0);
    for (const pid_t backend : server.backends()) {
        kill(backend, SIGTERM);
    }
    while (!server.backends().empty()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(selectOne(late), 0);
}

TEST(PostgresServer, IsNotWaitedForLongerThanAQueryMayTake)
{
    PrivatePostgres server;
    Dal::DbConnectionSettings settings = settingsFor(server);
    settings.queryTimeoutSeconds = 1;
    Dal::DbConnectionManager manager(settings);
    Dal::DbConnectionManager owner(settingsFor(server));
    ASSERT_EQ(runCommand(owner, "CREATE TABLE things (name TEXT)"), 0);
    Session lock(owner);
    ASSERT_EQ(lock.command("BEGIN"), 0);
    ASSERT_EQ(lock.command("LOCK TABLE things"), 0);
    for (const char* const slow : {"SELECT pg_sleep(40)", "SELECT name FROM things"}) {
        const CapturedLog log(16);
        const Stopwatch stopwatch;
        std::string text;
        EXPECT_EQ(queryText(manager, slow, text), Dal::STATUS_TIMED_OUT) << slow;
        EXPECT_GE(stopwatch.elapsed(), std::chrono::milliseconds(900));
        EXPECT_LT(stopwatch.elapsed(), LONG);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_THAT(log.lines()[0].text, HasSubstr("SQLSTATE 57014: "));
    }
    EXPECT_EQ(manager.connectionIndicator(), 1U) << "the connection is still good";
    ASSERT_EQ(lock.command("COMMIT"), 0);
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT name FROM things", text), Dal::STATUS_NO_MORE_ROWS);
}

TEST(PostgresServer, IsNotWaitedForLongerThanConnectingMayTake)
{
    PrivatePostgres server;
    Dal::DbConnectionSettings settings = settingsFor(server);
    settings.connectTimeoutSeconds = 2;
    Dal::DbConnectionManager manager(settings);
    server.signal(SIGSTOP);
    const Stopwatch stopwatch;
    EXPECT_EQ(selectOne(manager), Dal::STATUS_CONNECT_FAILED);
    EXPECT_GE(stopwatch.elapsed(), std::chrono::milliseconds(900));
    EXPECT_LT(stopwatch.elapsed(), LONG);
    server.signal(SIGCONT);
    EXPECT_EQ(selectOne(manager), 0);
}

TEST(PostgresServer, DelaysNoOtherConnectionWhenItIsStopped)
{
    PrivatePostgres stopped;
    Dal::DbConnectionManager waiting(settingsFor(stopped));
    Dal::DbConnectionSettings settings;
    settings.connectionString = "Driver=SQLite3;Database=:memory:;";
    stopped.signal(SIGSTOP);
    std::atomic<bool> ended{false};
    int status = 0;
    std::thread waiter([&] {
        status = selectOne(waiting);
        ended = true;
    });
    while (!ended) {
        const Stopwatch stopwatch;
        Dal::DbConnectionManager other(settings);
        EXPECT_EQ(Session(other).guard.status(), 0);
        EXPECT_LT(stopwatch.elapsed(), std::chrono::seconds(2)) << "the other attempt takes 5 s";
    }
    waiter.join();
    EXPECT_EQ(status, Dal::STATUS_CONNECT_FAILED);
    stopped.signal(SIGCONT);
}

TEST(PostgresServer, TakesNoOptionsFromTheEnvironment)
{
    PrivatePostgres server;
    Dal::DbConnectionManager manager(settingsFor(server));
    setenv("PGOPTIONS", "-c work_mem=99MB", 1); // NOLINT(concurrency-mt-unsafe)
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT current_setting('work_mem')", text), 0);
    unsetenv("PGOPTIONS"); // NOLINT(concurrency-mt-unsafe)
    EXPECT_EQ(text, "4MB");
}

TEST(PostgresServer, SeesThePasswordThatNoLogShows)
{
    PrivatePostgres server;
    Dal::DbConnectionManager owner(settingsFor(server));
    ASSERT_EQ(runCommand(owner, "CREATE ROLE keeper LOGIN PASSWORD 'richtig'"), 0);
    Dal::DbConnectionSettings settings = settingsFor(server);
    settings.connectionString = server.connectionString("keeper", "richtig");
    const CapturedLog log;
    {
        Dal::DbConnectionManager manager(settings);
        EXPECT_EQ(selectOne(manager), 0);
    }
    for (const std::string& text :
         {server.connectionString("keeper", "geheim"), server.connectionString("geheim", "geheim"),
          server.connectionString() + "Foo={a;Pwd=geheim",
          server.connectionString() + "pqopt={nonsense=1 password=geheim}",
          std::string("Driver=PostgreSQL Unicode;Server=/nowhere;Pwd=geheim"),
          std::string("Driver=PostgreSQL Unicode Pwd=geheim"), std::string("Driver=Nothing;PWD=geheim"),
          std::string("DSN=geheim;Password=geheim"), std::string("Pwd=geheim"), std::string("geheim")}) {
        settings.connectionString = text;
        Dal::DbConnectionManager manager(settings);
        EXPECT_THAT(selectOne(manager), AnyOf(Dal::STATUS_CONNECT_FAILED, 0));
    }
    EXPECT_GE(log.lines(16).size(), 8U);
    for (const LogLine& line : log.lines()) {
        EXPECT_THAT(line.text, Not(AnyOf(HasSubstr("geheim"), HasSubstr("richtig")))) << line;
    }
}

} // namespace
} // namespace keepsafe_test
