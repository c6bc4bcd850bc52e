/// What a driver may answer that the drivers at hand do not. The driver here is SQLite's, with other answers.

#include <keepsafe/platform/dal/Dal.h>

#include <cstdint>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sql.h>
#include <sqlext.h>

#include "Session.h"
#include "support/CapturedLog.h"

namespace {

/// What is answered, and what was asked for.
struct Driver {
    std::string failing;                 ///< the function that fails
    std::string state = "HY000";         ///< of its failure
    SQLINTEGER native = 0;               ///< the database's number of its failure
    SQLSMALLINT type = SQL_UNKNOWN_TYPE; ///< of all columns, when it is known
    bool hasFailed = false;

    int prepared = 0;
    std::vector<std::string> statements; ///< that were not prepared
};

Driver driver;

SQLRETURN fail()
{
    driver.hasFailed = true;
    return SQL_ERROR;
}

/// The driver manager's function.
template <typename Function>
Function* next(const char* name)
{
    return reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name));
}

} // namespace

SQLRETURN SQL_API SQLPrepare(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)
{
    ++driver.prepared;
    return next<decltype(SQLPrepare)>("SQLPrepare")(statement, text, length);
}
SQLRETURN SQL_API SQLExecDirect(SQLHSTMT statement, SQLCHAR* text, SQLINTEGER length)
{
    driver.statements.emplace_back(reinterpret_cast<const char*>(text));
    return next<decltype(SQLExecDirect)>("SQLExecDirect")(statement, text, length);
}
SQLRETURN SQL_API SQLNumParams(SQLHSTMT statement, SQLSMALLINT* count)
{
    return driver.failing == "SQLNumParams" ? fail()
                                            : next<decltype(SQLNumParams)>("SQLNumParams")(statement, count);
}
SQLRETURN SQL_API SQLFetch(SQLHSTMT statement)
{
    return driver.failing == "SQLFetch" ? fail() : next<decltype(SQLFetch)>("SQLFetch")(statement);
}
SQLRETURN SQL_API SQLGetData(SQLHSTMT statement, SQLUSMALLINT column, SQLSMALLINT type, SQLPOINTER value,
                             SQLLEN size, SQLLEN* indicator)
{
    return driver.failing == "SQLGetData"
               ? fail()
               : next<decltype(SQLGetData)>("SQLGetData")(statement, column, type, value, size, indicator);
}
SQLRETURN SQL_API SQLDescribeCol(SQLHSTMT statement, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT size,
                                 SQLSMALLINT* length, SQLSMALLINT* type, SQLULEN* columnSize,
                                 SQLSMALLINT* digits, SQLSMALLINT* nullable)
{
    const SQLRETURN result = next<decltype(SQLDescribeCol)>("SQLDescribeCol")(
        statement, column, name, size, length, type, columnSize, digits, nullable);
    if (driver.type != SQL_UNKNOWN_TYPE) {
        *type = driver.type;
    }
    return result;
}
SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT type, SQLHANDLE handle, SQLSMALLINT record, SQLCHAR* state,
                                SQLINTEGER* native, SQLCHAR* message, SQLSMALLINT size, SQLSMALLINT* length)
{
    if (!driver.hasFailed) {
        return next<decltype(SQLGetDiagRec)>("SQLGetDiagRec")(type, handle, record, state, native, message,
                                                              size, length);
    }
    const std::string text = "a message";
    driver.state.copy(reinterpret_cast<char*>(state), driver.state.size());
    text.copy(reinterpret_cast<char*>(message), text.size());
    *native = driver.native;
    *length = static_cast<SQLSMALLINT>(text.size());
    return SQL_SUCCESS;
}

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;

constexpr int SQLITE_ERROR_NUMBER = 1;
constexpr int SQLITE_LOCKED_NUMBER = 6;

class DriverAnswers : public testing::Test {
protected:
    DriverAnswers() { driver = Driver(); }

    static Dal::DbConnectionSettings settings()
    {
        Dal::DbConnectionSettings settings;
        settings.connectionString = "Driver=SQLite3;Database=:memory:;";
        return settings;
    }
    /// Reads the first row of a result; nothing of it may be left in the record when that fails.
    static int statusOfRow(Session& session)
    {
        Record record = Record::filled();
        const int status = session.fetch(record);
        EXPECT_TRUE(status == 0 || record.bytes() == ZEROED);
        EXPECT_EQ(session.fetched, status == 0 ? 1U : 0U);
        return status;
    }

    Dal::DbConnectionManager manager_{settings()};
    const CapturedLog log_{8};
};

struct RowFailure {
    const char* state;
    SQLINTEGER native;
    int status;
};

class RowFailures : public DriverAnswers, public testing::WithParamInterface<RowFailure> {};

TEST_P(RowFailures, EndTheReadingWithTheStatusOfTheirState)
{
    Session session(manager_);
    ASSERT_EQ(session.query("SELECT 1, 'text'"), 0);
    driver.failing = "SQLFetch";
    driver.state = GetParam().state;
    driver.native = GetParam().native;
    EXPECT_EQ(statusOfRow(session), GetParam().status);
    EXPECT_THAT(log_.lines(),
                ElementsAre(LogLine{16, "DbConnection::Fetch", "SQLSTATE " + driver.state + ": a message"}));
}

INSTANTIATE_TEST_SUITE_P(Of, RowFailures,
                         testing::Values(RowFailure{"08S01", 0, Dal::STATUS_CONNECTION_LOST},
                                         RowFailure{"57P01", 0, Dal::STATUS_CONNECTION_LOST},
                                         RowFailure{"57P02", 0, Dal::STATUS_CONNECTION_LOST},
                                         RowFailure{"57P03", 0, Dal::STATUS_CONNECTION_LOST},
                                         RowFailure{"HYT00", 0, Dal::STATUS_TIMED_OUT},
                                         RowFailure{"HY000", SQLITE_LOCKED_NUMBER, Dal::STATUS_TIMED_OUT},
                                         RowFailure{"HY000", SQLITE_ERROR_NUMBER,
                                                    Dal::STATUS_STATEMENT_FAILED}),
                         [](const auto& instance) {
                             return std::string(instance.param.state) + "_" +
                                    std::to_string(instance.param.native);
                         });

TEST_F(DriverAnswers, ThatAConnectionIsLostEndItsUse)
{
    {
        Session session(manager_);
        ASSERT_EQ(session.query("SELECT 1, 'text'"), 0);
        driver.failing = "SQLFetch";
        driver.state = "57P01";
        EXPECT_EQ(statusOfRow(session), Dal::STATUS_CONNECTION_LOST);
        EXPECT_EQ(session.query("SELECT 1"), Dal::STATUS_CONNECTION_LOST);
        EXPECT_EQ(log_.lines().back(),
                  (LogLine{16, "DbConnection::Execute", "the connection was lost before"}));
    }
    EXPECT_EQ(manager_.connectionIndicator(), 0U);
}

TEST_F(DriverAnswers, ThatAConnectionIsLostCloseThoseOfItsAgeWhenTheyAreGivenBack)
{
    {
        Session other(manager_);
        Session lost(manager_);
        ASSERT_EQ(lost.query("SELECT 1, 'text'"), 0);
        driver.failing = "SQLFetch";
        driver.state = "57P01";
        EXPECT_EQ(statusOfRow(lost), Dal::STATUS_CONNECTION_LOST);
        driver = Driver();
        EXPECT_EQ(manager_.connectionIndicator(), 2U);
        EXPECT_EQ(other.query("SELECT 1, 'text'"), 0);
    }
    EXPECT_EQ(manager_.connectionIndicator(), 0U);
}

TEST_F(DriverAnswers, ThatAColumnCannotBeReadAreLoggedWithItsName)
{
    for (const char* const name : {static_cast<const char*>("number"), static_cast<const char*>(nullptr)}) {
        Session session(manager_);
        ASSERT_EQ(session.query("SELECT 1"), 0);
        driver.failing = "SQLGetData";
        Dal::DalOdbcView::BindingStruct column = NUMBER_COLUMN;
        column.name = name;
        std::int32_t number = 7;
        EXPECT_EQ(session.connection->Fetch(&session.view, &number, sizeof number, &column, 1,
                                            &session.fetched, true, false),
                  Dal::STATUS_STATEMENT_FAILED);
        EXPECT_EQ(number, 0);
        driver = Driver();
    }
    const std::string text = "SQLSTATE HY000: a message";
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, "DbConnection::Fetch", "column \"number\" " + text},
                                          LogLine{16, "DbConnection::Fetch", "column \"\" " + text}));
}

TEST_F(DriverAnswers, ThatAColumnHoldsBytesRefuseIt)
{
    for (const int type : {SQL_BINARY, SQL_VARBINARY, SQL_LONGVARBINARY}) {
        Session session(manager_);
        ASSERT_EQ(session.query("SELECT 'text'"), 0);
        driver.type = static_cast<SQLSMALLINT>(type);
        std::string text;
        EXPECT_EQ(session.fetchText(text), Dal::STATUS_VALUE_UNUSABLE) << type;
        driver = Driver();
    }
}

TEST_F(DriverAnswers, ThatTheParametersCannotBeCountedKeepAStatementFromRunning)
{
    Session session(manager_);
    driver.failing = "SQLNumParams";
    EXPECT_EQ(session.command("CREATE TABLE Things (Name)"), Dal::STATUS_STATEMENT_FAILED);
    driver = Driver();
    EXPECT_EQ(session.query("SELECT 1 FROM Things"), Dal::STATUS_STATEMENT_FAILED) << "there is none";
}

TEST_F(DriverAnswers, AreNotAskedForWithAWrongParameter)
{
    Session session(manager_);
    Dal::ParameterBinder binder;
    binder.bindInputString("text", Dal::ZERO_TERMINATED, false);
    std::vector<Dal::DalOdbcView::BindingStruct> parameters(binder.get(), binder.get() + 2);
    parameters[0].number = 2;
    EXPECT_EQ(session.connection->Execute(&session.view, "SELECT ?", parameters.data(), VERBOSITY, "Test",
                                          false, false),
              Dal::STATUS_BAD_BINDING);
    EXPECT_EQ(driver.prepared, 0);
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{16, "DbConnection::Execute",
                                                  "parameter 1 is not an input text with that number"}));
}

TEST_F(DriverAnswers, AreAskedForARollbackUnlessThereWasOnlyAPlainQuery)
{
    ASSERT_EQ(Session(manager_).query("SELECT 1"), 0);
    const auto isRolledBackAfter = [this](const std::string& sql, bool isCommand) {
        driver = Driver();
        {
            Session session(manager_);
            EXPECT_EQ(isCommand ? session.command(sql) : session.query(sql), 0) << sql;
        }
        return !driver.statements.empty();
    };
    EXPECT_FALSE(isRolledBackAfter("SELECT 1", false));
    EXPECT_FALSE(isRolledBackAfter("select 1", false));
    EXPECT_TRUE(isRolledBackAfter("SELECT ';'", false)) << "a second statement may follow";
    EXPECT_TRUE(isRolledBackAfter("create temporary table Things (Name)", true));
    EXPECT_THAT(driver.statements, ElementsAre("BEGIN", "ROLLBACK"));
}

} // namespace
} // namespace keepsafe_test
