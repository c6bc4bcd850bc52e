/// What is particular about SQLite: files, locks, and a database that only the process itself knows.

#include <chrono>
#include <filesystem>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

class Sqlite : public testing::Test {
protected:
    Sqlite()
    {
        settings.connectionString = "Driver=SQLite3;NoCreat=0;Database=" + folder.path("main.db") + ";";
        settings.onConnect = {"ATTACH DATABASE '" + folder.path("auth.db") + "' AS AUTH_MAIN"};
    }

    TempDir folder;
    Dal::DbConnectionSettings settings;
};

TEST_F(Sqlite, IsNotWaitedForLongerThanAQueryMayTakeWhenItIsLocked)
{
    Dal::DbConnectionManager writer(settings);
    ASSERT_EQ(runCommand(writer, "CREATE TABLE AUTH_MAIN.Things (Name TEXT)"), 0);
    settings.queryTimeoutSeconds = 1;
    settings.connectTimeoutSeconds = 2;
    Dal::DbConnectionManager reader(settings);
    std::string text;
    ASSERT_EQ(queryText(reader, "SELECT Name FROM AUTH_MAIN.Things", text), Dal::STATUS_NO_MORE_ROWS);
    Session lock(writer);
    ASSERT_EQ(lock.command("BEGIN EXCLUSIVE"), 0);
    const auto start = std::chrono::steady_clock::now();
    const CapturedLog log(16);
    EXPECT_EQ(queryText(reader, "SELECT Name FROM AUTH_MAIN.Things", text), Dal::STATUS_TIMED_OUT);
    EXPECT_EQ(runCommand(reader, "INSERT INTO AUTH_MAIN.Things VALUES ('x')"), Dal::STATUS_TIMED_OUT);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    EXPECT_THAT(
        log.lines(),
        ElementsAre(LogLine{16, "DbConnection::Execute", "SQLSTATE HY000: [SQLite]database is locked (5)"},
                    LogLine{16, "DbConnection::Execute", "SQLSTATE HY000: [SQLite]database is locked (5)"}));
    ASSERT_EQ(lock.command("INSERT INTO AUTH_MAIN.Things VALUES ('y')"), 0);
    ASSERT_EQ(lock.command("COMMIT"), 0);
    EXPECT_EQ(queryText(reader, "SELECT Name FROM AUTH_MAIN.Things", text), 0);
    EXPECT_EQ(text, "y");
}

TEST_F(Sqlite, IsNotWaitedForLongerThanConnectingMayTakeWhenItIsLocked)
{
    Dal::DbConnectionManager writer(settings);
    ASSERT_EQ(runCommand(writer, "CREATE TABLE AUTH_MAIN.Things (Name TEXT)"), 0);
    Session lock(writer);
    ASSERT_EQ(lock.command("BEGIN EXCLUSIVE"), 0);
    settings.connectTimeoutSeconds = 1;
    Dal::DbConnectionManager late(settings);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(Session(late).guard.status(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(30));
    ASSERT_EQ(lock.command("COMMIT"), 0);
    EXPECT_EQ(Session(late).guard.status(), 0);
}

TEST_F(Sqlite, IsNotLockedByAResultThatWasGivenBack)
{
    settings.queryTimeoutSeconds = 1;
    Dal::DbConnectionManager reader(settings);
    Dal::DbConnectionManager writer(settings);
    ASSERT_EQ(runCommand(writer, "CREATE TABLE AUTH_MAIN.Things (Name TEXT)"), 0);
    ASSERT_EQ(runCommand(writer, "INSERT INTO AUTH_MAIN.Things VALUES ('a'), ('b')"), 0);
    std::string text;
    for (const std::string expected : {"b", "c", "d"}) {
        ASSERT_EQ(queryText(reader, "SELECT Name FROM AUTH_MAIN.Things ORDER BY Name DESC", text), 0);
        EXPECT_EQ(text, expected);
        const std::string next(1, static_cast<char>(expected[0] + 1));
        EXPECT_EQ(runCommand(writer, "INSERT INTO AUTH_MAIN.Things VALUES ('" + next + "')"), 0);
    }
}

TEST_F(Sqlite, SaysWhyItCannotBeOpened)
{
    settings.connectionString = "Driver=SQLite3;Database=" + folder.path("nowhere/main.db") + ";Pwd=geheim;";
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log;
    EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{
                    16, "DbConnectionManager::connect",
                    "cannot connect to the database, SQLSTATE HY000: [SQLite]connect failed: the file "
                    "does not exist or cannot be opened"}));
}

TEST_F(Sqlite, IsNotCreatedWhereAFileIsMissing)
{
    for (const std::string& file : {std::string("mistyped.db"), std::string("auth.db")}) {
        settings.connectionString =
            "Driver=SQLite3;Database=" + (file == "auth.db" ? ":memory:" : folder.path(file)) + ";";
        Dal::DbConnectionManager manager(settings);
        EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
        EXPECT_FALSE(std::filesystem::exists(folder.path(file))) << file;
    }
}

TEST_F(Sqlite, IsNotUsedWhenAStatementForANewConnectionFails)
{
    settings.onConnect.push_back("ATTACH DATABASE '" + folder.path("nowhere/x.db") + "' AS X");
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log;
    EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{
                                 16, "DbConnectionManager::connect",
                                 "statement 2 for a new connection failed, SQLSTATE HY000: [SQLite]unable to "
                                 "open database: " +
                                     folder.path("nowhere/x.db") + " (14)"}));
}

TEST_F(Sqlite, ShowsNoPasswordInALog)
{
    settings.onConnect = {"PRAGMA key = 'geheim' geheim"};
    const CapturedLog log;
    for (const std::string& text :
         {"Driver=SQLite3;NoCreat=0;Database=" + folder.path("main.db") + ";Pwd=geheim;",
          "Driver=SQLite3;Database=" + folder.path("geheim/main.db") + ";Pwd=geheim;",
          "Driver=SQLite3 Pwd=geheim;Database=" + folder.path("main.db"),
          "Driver={SQLite3;PWD=geheim;Database=" + folder.path("main.db")}) {
        settings.connectionString = text;
        Dal::DbConnectionManager manager(settings);
        EXPECT_EQ(Session(manager).guard.status(), Dal::STATUS_CONNECT_FAILED);
    }
    EXPECT_EQ(log.lines().size(), 4U);
    EXPECT_EQ(log.lines()[0],
              (LogLine{16, "DbConnectionManager::connect",
                       "statement 1 for a new connection failed, SQLSTATE HY000: (the statement "
                       "may hold a secret)"}));
    for (const LogLine& line : log.lines()) {
        EXPECT_THAT(line.text, Not(HasSubstr("geheim"))) << line;
    }
}

TEST_F(Sqlite, ShowsNoPasswordInTheMessagesOfAStatement)
{
    settings.connectionString += "Pwd=geheim;";
    Dal::DbConnectionManager manager(settings);
    const CapturedLog log(16);
    EXPECT_EQ(runCommand(manager, "DROP TABLE geheim"), Dal::STATUS_STATEMENT_FAILED);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnection::Execute",
                                                 "SQLSTATE HY000: (the driver's message repeats a secret)"}));
}

} // namespace
} // namespace keepsafe_test
