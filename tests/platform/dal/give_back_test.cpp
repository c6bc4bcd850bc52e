/// What a connection takes along when it goes back into the pool: nothing of a transaction.

#include <keepsafe/platform/dal/Dal.h>

#include <csignal>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"
#include "support/PrivatePostgres.h"

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;

constexpr const char* ALL_NAMES = "SELECT Name FROM AUTH_MAIN.Things";

class GiveBack : public testing::TestWithParam<DatabaseKind> {
protected:
    GiveBack() { EXPECT_EQ(runCommand(manager, "CREATE TABLE AUTH_MAIN.Things (Name VARCHAR(100))"), 0); }

    PrivateDatabase server{GetParam()};
    Dal::DbConnectionManager manager{server.settings()};
};

TEST_P(GiveBack, UndoesWhatWasNotCommitted)
{
    for (const char* const begin : {"BEGIN", "begin"}) {
        {
            Session session(manager);
            ASSERT_EQ(session.command(begin), 0);
            ASSERT_EQ(session.command("INSERT INTO AUTH_MAIN.Things VALUES ('uncommitted')"), 0);
        }
        std::string text;
        EXPECT_EQ(queryText(manager, ALL_NAMES, text), Dal::STATUS_NO_MORE_ROWS);
        EXPECT_EQ(manager.connectionIndicator(), 1U) << "the connection is kept";
    }
}

TEST_P(GiveBack, UndoesATransactionThatAFailedStatementHasBroken)
{
    {
        Session session(manager);
        ASSERT_EQ(session.command("BEGIN"), 0);
        ASSERT_EQ(session.command("INSERT INTO AUTH_MAIN.Things VALUES ('uncommitted')"), 0);
        ASSERT_EQ(session.command("INSERT INTO AUTH_MAIN.Nothing VALUES (1)"), Dal::STATUS_STATEMENT_FAILED);
    }
    std::string text;
    EXPECT_EQ(queryText(manager, ALL_NAMES, text), Dal::STATUS_NO_MORE_ROWS);
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_P(GiveBack, KeepsWhatWasCommitted)
{
    ASSERT_EQ(runCommand(manager, "INSERT INTO AUTH_MAIN.Things VALUES ('committed')"), 0);
    std::string text;
    EXPECT_EQ(queryText(manager, ALL_NAMES, text), 0);
    EXPECT_EQ(text, "committed");
}

TEST_P(GiveBack, UndoesATransactionThatAQueryWithoutRowsHasBegun)
{
    {
        Session session(manager);
        EXPECT_EQ(session.query("BEGIN"), Dal::STATUS_STATEMENT_FAILED);
        ASSERT_EQ(session.command("INSERT INTO AUTH_MAIN.Things VALUES ('uncommitted')"), 0);
    }
    std::string text;
    EXPECT_EQ(queryText(manager, ALL_NAMES, text), Dal::STATUS_NO_MORE_ROWS);
}

INSTANTIATE_TEST_SUITE_P(OnEachDatabase, GiveBack, allDatabases(), kindName);

TEST(GiveBackToPostgres, EndsAnOldSnapshot)
{
    PrivateDatabase server(DatabaseKind::Postgres);
    server.run("CREATE TABLE AUTH_MAIN.Things (Name VARCHAR(100))");
    server.run("INSERT INTO AUTH_MAIN.Things VALUES ('revoked')");
    Dal::DbConnectionManager manager(server.settings());
    std::string text;
    {
        Session session(manager);
        ASSERT_EQ(session.command("BEGIN ISOLATION LEVEL REPEATABLE READ"), 0);
        ASSERT_EQ(session.query(ALL_NAMES), 0);
        ASSERT_EQ(session.fetchText(text), 0);
    }
    server.run("DELETE FROM AUTH_MAIN.Things");
    EXPECT_EQ(queryText(manager, ALL_NAMES, text), Dal::STATUS_NO_MORE_ROWS);
}

TEST(GiveBackToPostgres, EndsATransactionBegunBehindAQuery)
{
    PrivateDatabase server(DatabaseKind::Postgres);
    Dal::DbConnectionManager manager(server.settings());
    std::string first;
    std::string second;
    {
        Session session(manager);
        ASSERT_EQ(session.query("SELECT 1; BEGIN"), 0);
    }
    ASSERT_EQ(queryText(manager, "SELECT now()", first), 0);
    do {
        ASSERT_EQ(queryText(manager, "SELECT clock_timestamp()", second), 0);
    } while (second <= first);
    ASSERT_EQ(queryText(manager, "SELECT now()", second), 0);
    EXPECT_NE(first, second) << "now() is the start of the transaction";
}

TEST(GiveBackToPostgres, ClosesAConnectionWhoseTransactionCannotBeEnded)
{
    PrivatePostgres server;
    Dal::DbConnectionSettings settings;
    settings.connectionString = server.connectionString();
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log(8);
    {
        Session session(manager);
        ASSERT_EQ(session.command("BEGIN"), 0);
        server.kill();
    }
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].tag, "SSRGuard::~SSRGuard");
    EXPECT_THAT(
        log.lines()[0].text,
        testing::StartsWith("cannot end the transaction of a connection, which is closed: SQLSTATE "));
    server.start();
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT 1", text), 0);
}

} // namespace
} // namespace keepsafe_test
