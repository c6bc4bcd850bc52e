/// What holds for statements and rows, whichever the database.

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;
using testing::HasSubstr;

class Statements : public testing::TestWithParam<DatabaseKind> {
protected:
    Statements()
    {
        EXPECT_EQ(runCommand(manager, "CREATE TABLE AUTH_MAIN.Things (Name VARCHAR(100), Number INTEGER, "
                                      "Content TEXT)"),
                  0);
    }

    void store(const char* name, const std::string& number, const std::string& content)
    {
        EXPECT_EQ(Session(manager).command("INSERT INTO AUTH_MAIN.Things VALUES (?, " + number + ", ?)",
                                           {name, content.c_str()}),
                  0);
    }

    PrivateDatabase server{GetParam()};
    Dal::DbConnectionManager manager{server.settings()};
};

constexpr const char* BY_NAME = "SELECT Number, Content FROM AUTH_MAIN.Things WHERE Name = ?";

TEST_P(Statements, ReadRowsByParametersUntilNoneIsLeft)
{
    store("one", "7", "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    store("many", "-2147483648", "");
    store("many", "2147483647", "1234567890123456789012345678901");
    store("", "0", "'; DROP TABLE x; --");
    Session session(manager);
    Record record = Record::filled();
    ASSERT_EQ(session.query(BY_NAME, {"one"}), 0);
    ASSERT_EQ(session.fetch(record), 0);
    EXPECT_EQ(session.fetched, 1U);
    EXPECT_EQ(record.number, 7);
    EXPECT_STREQ(record.text, "caf\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80");
    EXPECT_EQ(session.fetch(record), Dal::STATUS_NO_MORE_ROWS);
    EXPECT_EQ(session.fetched, 0U);
    EXPECT_EQ(record.bytes(), ZEROED);

    ASSERT_EQ(session.query(std::string(BY_NAME) + " ORDER BY Number", {"many"}), 0);
    ASSERT_EQ(session.fetch(record), 0);
    EXPECT_EQ(record.number, -2147483648);
    EXPECT_STREQ(record.text, "");
    ASSERT_EQ(session.fetch(record), 0);
    EXPECT_EQ(record.number, 2147483647);
    EXPECT_STREQ(record.text, "1234567890123456789012345678901");
    EXPECT_EQ(session.fetch(record), Dal::STATUS_NO_MORE_ROWS);

    ASSERT_EQ(session.query(BY_NAME, {""}), 0);
    ASSERT_EQ(session.fetch(record), 0);
    EXPECT_STREQ(record.text, "'; DROP TABLE x; --");
    ASSERT_EQ(session.query(BY_NAME, {"none"}), 0);
    EXPECT_EQ(session.fetch(record), Dal::STATUS_NO_MORE_ROWS);
    EXPECT_EQ(session.fetch(record), Dal::STATUS_NO_MORE_ROWS);
    ASSERT_EQ(session.query(BY_NAME, {nullptr}), 0);
    EXPECT_EQ(session.fetch(record), Dal::STATUS_NO_MORE_ROWS);
}

TEST_P(Statements, NeverShortenAText)
{
    Session session(manager);
    std::string text;
    for (const std::size_t length : {0U, 1U, 31999U, 32000U}) {
        const std::string stored(length, 'x');
        ASSERT_EQ(session.query("SELECT CAST(? AS VARCHAR)", {stored.c_str()}), 0);
        ASSERT_EQ(session.fetchText(text, 32001), 0) << length;
        EXPECT_EQ(text, stored);
    }
    for (const std::size_t length : {32001U, 32002U, 40000U, 1000000U}) {
        const CapturedLog log(16);
        ASSERT_EQ(session.query("SELECT CAST(? AS VARCHAR)", {std::string(length, 'x').c_str()}), 0);
        EXPECT_EQ(session.fetchText(text, 32001), Dal::STATUS_VALUE_TOO_LONG) << length;
        EXPECT_EQ(text, std::string(32001, '\0'));
        EXPECT_EQ(session.fetched, 0U);
        EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnection::Fetch",
                                                     "column \"text\" does not fit its buffer"}));
    }
}

TEST_P(Statements, CutATextThatMayBeCut)
{
    store("long", "5", std::string(40, 'x'));
    Session session(manager);
    Record record = Record::filled();
    ASSERT_EQ(session.query(BY_NAME, {"long"}), 0);
    ASSERT_EQ(session.fetch(record, true, true), 0);
    EXPECT_EQ(record.number, 5);
    EXPECT_STREQ(record.text, std::string(31, 'x').c_str());
}

TEST_P(Statements, GiveNothingOfARowThatIsNotWhole)
{
    store("long", "5", std::string(32, 'x'));
    store("null", "NULL", "text");
    Session session(manager);
    for (const char* const name : {"long", "null"}) {
        Record record = Record::filled();
        ASSERT_EQ(session.query(BY_NAME, {name}), 0);
        EXPECT_NE(session.fetch(record), 0);
        EXPECT_EQ(record.bytes(), ZEROED) << name;
        EXPECT_EQ(session.fetched, 0U);
    }
}

TEST_P(Statements, RefuseAColumnWithoutAValueUnlessItMayBe)
{
    const CapturedLog log(16);
    ASSERT_EQ(runCommand(manager, "INSERT INTO AUTH_MAIN.Things VALUES ('n', NULL, NULL)"), 0);
    Session session(manager);
    Record record = Record::filled();
    ASSERT_EQ(session.query(BY_NAME, {"n"}), 0);
    EXPECT_EQ(session.fetch(record), Dal::STATUS_UNEXPECTED_NULL);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "DbConnection::Fetch", "column \"number\" has no value"}));
    std::string text;
    ASSERT_EQ(session.query("SELECT Content FROM AUTH_MAIN.Things"), 0);
    EXPECT_EQ(session.fetchText(text), Dal::STATUS_UNEXPECTED_NULL);
    ASSERT_EQ(session.query(BY_NAME, {"n"}), 0);
    record = Record::filled();
    EXPECT_EQ(session.fetch(record, false), 0);
    EXPECT_EQ(record.number, 0);
    EXPECT_STREQ(record.text, "");
}

TEST_P(Statements, RefuseValuesThatAreNoIntegersOf32Bits)
{
    Session session(manager);
    std::int32_t number = 99;
    for (const char* const value :
         {"CAST(2147483648 AS BIGINT)", "CAST(-2147483649 AS BIGINT)", "CAST(4294967297 AS BIGINT)", "1.5",
          "'abc'", "'12x'", "''", "' 1'", "'12345678901234567890123'"}) {
        const CapturedLog log(16);
        ASSERT_EQ(session.query(std::string("SELECT ") + value), 0) << value;
        EXPECT_EQ(session.fetchNumber(number), Dal::STATUS_VALUE_UNUSABLE) << value;
        EXPECT_EQ(number, 0) << value;
        EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnection::Fetch",
                                                     "column \"number\" has a value that cannot be "
                                                     "represented"}));
    }
    ASSERT_EQ(session.query("SELECT '-12'"), 0);
    EXPECT_EQ(session.fetchNumber(number), 0);
    EXPECT_EQ(number, -12);
}

TEST_P(Statements, RefuseBytesInThePlaceOfAText)
{
    Session session(manager);
    std::string text;
    ASSERT_EQ(
        session.query(GetParam() == DatabaseKind::Sqlite ? "SELECT X'616200'" : "SELECT '\\x616200'::bytea"),
        0);
    EXPECT_EQ(session.fetchText(text), Dal::STATUS_VALUE_UNUSABLE);
}

TEST_P(Statements, RefuseColumnsThatTheResultOrTheRecordHasNot)
{
    store("one", "7", "text");
    Session session(manager);
    Record record = Record::filled();
    ASSERT_EQ(session.query(BY_NAME, {"one"}), 0);
    Dal::DalOdbcView::BindingStruct column = NUMBER_COLUMN;
    const auto fetch = [&] {
        return session.connection->Fetch(&session.view, &record, sizeof record, &column, 1, nullptr, true,
                                         false);
    };
    column.number = 3;
    const CapturedLog log(16);
    EXPECT_EQ(fetch(), Dal::STATUS_BAD_BINDING);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnection::Fetch",
                                                 "column \"number\" has the number 3 in a result of 2 "
                                                 "columns"}));
    EXPECT_EQ(record.bytes(), ZEROED);
    column.number = 1;
    column.position = sizeof record;
    EXPECT_EQ(fetch(), Dal::STATUS_BAD_BINDING);
    column.position = 0;
    EXPECT_EQ(fetch(), 0) << "the row was used up";
    EXPECT_EQ(record.number, 7);
}

TEST_P(Statements, WantAsManyParametersAsTheyHaveMarkers)
{
    Session session(manager);
    const CapturedLog log(16);
    EXPECT_EQ(session.query(BY_NAME), Dal::STATUS_BAD_BINDING);
    EXPECT_EQ(session.query(BY_NAME, {"a", "b"}), Dal::STATUS_BAD_BINDING);
    EXPECT_EQ(session.command("INSERT INTO AUTH_MAIN.Things VALUES ('x', 1, '?')", {"a"}),
              Dal::STATUS_BAD_BINDING);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{16, "DbConnection::Execute", "the statement has 1 parameters, not 0"},
                            LogLine{16, "DbConnection::Execute", "the statement has 1 parameters, not 2"},
                            LogLine{16, "DbConnection::Execute", "the statement has 0 parameters, not 1"}));
    ASSERT_EQ(session.query("SELECT COUNT(*) FROM AUTH_MAIN.Things"), 0);
    std::int32_t count = 99;
    ASSERT_EQ(session.fetchNumber(count), 0);
    EXPECT_EQ(count, 0);
}

TEST_P(Statements, AnswerCallsThatMakeNoSense)
{
    Session session(manager);
    Session other(manager);
    Record record = Record::filled();
    EXPECT_EQ(session.fetch(record), Dal::STATUS_BAD_CALL) << "before a statement";
    EXPECT_EQ(record.bytes(), ZEROED);
    Dal::DbConnection& connection = *session.connection;
    EXPECT_EQ(connection.Execute(nullptr, "SELECT 1", nullptr, VERBOSITY, "t", false, true),
              Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection.Execute(&session.view, nullptr, nullptr, VERBOSITY, "t", false, true),
              Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection.Execute(&other.view, "SELECT 1", nullptr, VERBOSITY, "t", false, true),
              Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection.Execute(&session.view, "SELECT 1", nullptr, VERBOSITY, nullptr, false, true), 0);
    EXPECT_EQ(connection.Fetch(nullptr, &record, sizeof record, &NUMBER_COLUMN, 1, nullptr, true, false),
              Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection.Fetch(&session.view, nullptr, 0, &NUMBER_COLUMN, 1, nullptr, true, false),
              Dal::STATUS_BAD_CALL);
    EXPECT_EQ(connection.Fetch(&session.view, &record, sizeof record, nullptr, 1, nullptr, true, false),
              Dal::STATUS_BAD_BINDING);
    EXPECT_EQ(
        connection.Fetch(&session.view, &record, sizeof record, &NUMBER_COLUMN, 1, nullptr, true, false), 0);
    EXPECT_EQ(session.query("SELECT nothing FROM AUTH_MAIN.Things"), Dal::STATUS_STATEMENT_FAILED);
    EXPECT_EQ(session.fetch(record), Dal::STATUS_BAD_CALL) << "after a statement that failed";
    const Dal::DbConnectionView viewOfNothing(nullptr);
    EXPECT_EQ(viewOfNothing.status(), Dal::STATUS_BAD_CALL);
}

TEST_P(Statements, AreEitherQueriesOrCommands)
{
    Session session(manager);
    const CapturedLog log(16);
    EXPECT_EQ(session.command("SELECT 1"), Dal::STATUS_STATEMENT_FAILED);
    EXPECT_EQ(session.query("DELETE FROM AUTH_MAIN.Things"), Dal::STATUS_STATEMENT_FAILED);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "DbConnection::Execute", "a command gave rows"},
                                         LogLine{16, "DbConnection::Execute", "a query gave no columns"}));
    EXPECT_EQ(session.command("DELETE FROM AUTH_MAIN.Things"), 0) << "changes no row";
}

TEST_P(Statements, AreNamedInADebugMessageWithoutTheirParameters)
{
    const CapturedLog log;
    Session session(manager);
    ASSERT_EQ(session.query(BY_NAME, {"geheim"}), 0);
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{2, "Test", std::string("executing \"") + BY_NAME + "\""}));
}

TEST_P(Statements, SayWhatTheDatabaseHasAgainstThem)
{
    Session session(manager);
    for (int round = 0; round < 2; ++round) {
        const CapturedLog log(8);
        EXPECT_EQ(session.query("SELECT x FROM AUTH_MAIN.Missing WHERE y = ?", {"1"}),
                  Dal::STATUS_STATEMENT_FAILED);
        ASSERT_EQ(log.lines().size(), 1U);
        EXPECT_EQ(log.lines()[0].level, 16);
        EXPECT_EQ(log.lines()[0].tag, "DbConnection::Execute");
        EXPECT_THAT(log.lines()[0].text,
                    HasSubstr(GetParam() == DatabaseKind::Sqlite
                                  ? "SQLSTATE HY000: [SQLite]no such table: AUTH_MAIN.Missing"
                                  : "SQLSTATE 42P01: ERROR: relation \"auth_main.missing\" does not exist"));
    }
    EXPECT_EQ(session.query("SELECT 1"), 0) << "the connection is good for more";
    EXPECT_EQ(session.query(""), Dal::STATUS_STATEMENT_FAILED);
}

TEST_P(Statements, FollowATableThatChangesUnderThem)
{
    store("one", "7", "old");
    std::string text;
    ASSERT_EQ(queryText(manager, "SELECT * FROM AUTH_MAIN.Things", text), 0);
    EXPECT_EQ(text, "one");
    ASSERT_EQ(runCommand(manager, "DROP TABLE AUTH_MAIN.Things"), 0);
    EXPECT_EQ(queryText(manager, "SELECT * FROM AUTH_MAIN.Things", text), Dal::STATUS_STATEMENT_FAILED);
    ASSERT_EQ(runCommand(manager, "CREATE TABLE AUTH_MAIN.Things (Content TEXT, Name TEXT, Extra INTEGER)"),
              0);
    ASSERT_EQ(runCommand(manager, "INSERT INTO AUTH_MAIN.Things VALUES ('new', 'one', 1)"), 0);
    ASSERT_EQ(queryText(manager, "SELECT * FROM AUTH_MAIN.Things", text), 0);
    EXPECT_EQ(text, "new");
    ASSERT_EQ(runCommand(manager, "ALTER TABLE AUTH_MAIN.Things ADD COLUMN Last TEXT"), 0);
    EXPECT_EQ(queryText(manager, "SELECT * FROM AUTH_MAIN.Things", text), 0);
    EXPECT_EQ(text, "new");
}

TEST_P(Statements, MayRunInTwoViewsOfAConnection)
{
    store("a", "1", "first");
    store("b", "2", "second");
    Session session(manager);
    Dal::DbConnectionView second(session.connection);
    Dal::ParameterBinder parameter;
    parameter.bindInputString("b", Dal::ZERO_TERMINATED, false);
    Record record = Record::filled();
    for (int round = 0; round < 3; ++round) {
        ASSERT_EQ(session.query(BY_NAME, {"a"}), 0);
        ASSERT_EQ(session.connection->Execute(&second, BY_NAME, parameter.get(), VERBOSITY, "t", false, true),
                  0);
        ASSERT_EQ(session.fetch(record), 0);
        EXPECT_STREQ(record.text, "first");
        ASSERT_EQ(session.connection->Fetch(&second, &record, sizeof record, COLUMNS.data(), COLUMNS.size(),
                                            nullptr, true, false),
                  0);
        EXPECT_STREQ(record.text, "second");
    }
}

TEST_P(Statements, MayBeOfMoreKindsThanAConnectionKeepsPrepared)
{
    Session session(manager);
    for (int round = 0; round < 3; ++round) {
        for (int number = 0; number < 20; ++number) {
            std::int32_t value = 0;
            ASSERT_EQ(session.query("SELECT " + std::to_string(number)), 0);
            ASSERT_EQ(session.fetchNumber(value), 0);
            EXPECT_EQ(value, number);
        }
    }
}

TEST_P(Statements, RunInEightThreadsAtOnce)
{
    constexpr int THREADS = 8;
    constexpr int ROUNDS = 40;
    for (int thread = 0; thread < THREADS; ++thread) {
        store(("name" + std::to_string(thread)).c_str(), std::to_string(thread), "text");
    }
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int thread = 0; thread < THREADS; ++thread) {
        threads.emplace_back([&, thread] {
            const std::string name = "name" + std::to_string(thread);
            for (int round = 0; round < ROUNDS; ++round) {
                Session session(manager);
                Record record = Record::filled();
                if (session.query(BY_NAME, {name.c_str()}) == 0 && session.fetch(record) == 0 &&
                    record.number == thread && session.fetch(record) == Dal::STATUS_NO_MORE_ROWS) {
                    ++right;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, THREADS * ROUNDS);
    EXPECT_LE(manager.connectionIndicator(), 8U);
}

INSTANTIATE_TEST_SUITE_P(On, Statements, allDatabases(), kindName);

} // namespace
} // namespace keepsafe_test
