/// What is asked of ODBC to connect. The functions here stand in for the driver manager's.

#include <keepsafe/platform/dal/Dal.h>

#include <cstdint>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sql.h>
#include <sqlext.h>

#include "Session.h"
#include "support/CapturedLog.h"
#include "support/Process.h"

namespace {

/// What was asked for, and what is answered.
struct Odbc {
    bool hasEnvironment = true;
    bool hasConnection = true;
    SQLRETURN connecting = SQL_SUCCESS;
    SQLRETURN bounding = SQL_SUCCESS;
    SQLRETURN running = SQL_SUCCESS;
    std::string state = "HY000";
    SQLINTEGER native = 0;
    std::string message = "a message";

    std::string connectionString;
    std::uintptr_t loginTimeout = 0;
    std::vector<std::uintptr_t> statementTimeouts;
    std::vector<std::string> statements;
    int disconnected = 0;
    int versionsSet = 0;
};

Odbc odbc;

} // namespace

SQLRETURN SQL_API SQLAllocHandle(SQLSMALLINT type, SQLHANDLE, SQLHANDLE* made)
{
    static int place = 0;
    *made = &place;
    const bool isMade = odbc.hasEnvironment && (type != SQL_HANDLE_DBC || odbc.hasConnection);
    return isMade ? SQL_SUCCESS : SQL_ERROR;
}
SQLRETURN SQL_API SQLFreeHandle(SQLSMALLINT, SQLHANDLE) { return SQL_SUCCESS; }
SQLRETURN SQL_API SQLSetEnvAttr(SQLHENV, SQLINTEGER, SQLPOINTER, SQLINTEGER)
{
    ++odbc.versionsSet;
    return SQL_SUCCESS;
}
SQLRETURN SQL_API SQLSetConnectAttr(SQLHDBC, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER)
{
    if (attribute == SQL_ATTR_LOGIN_TIMEOUT) {
        odbc.loginTimeout = reinterpret_cast<std::uintptr_t>(value);
    }
    return SQL_SUCCESS;
}
SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER)
{
    EXPECT_EQ(attribute, SQL_ATTR_QUERY_TIMEOUT);
    odbc.statementTimeouts.push_back(reinterpret_cast<std::uintptr_t>(value));
    return odbc.bounding;
}
SQLRETURN SQL_API SQLDriverConnect(SQLHDBC, SQLHWND, SQLCHAR* text, SQLSMALLINT size, SQLCHAR*, SQLSMALLINT,
                                   SQLSMALLINT*, SQLUSMALLINT completion)
{
    EXPECT_EQ(completion, SQL_DRIVER_NOPROMPT);
    odbc.connectionString.assign(reinterpret_cast<const char*>(text), static_cast<std::size_t>(size));
    return odbc.connecting;
}
SQLRETURN SQL_API SQLDisconnect(SQLHDBC)
{
    ++odbc.disconnected;
    return SQL_SUCCESS;
}
SQLRETURN SQL_API SQLGetInfo(SQLHDBC, SQLUSMALLINT, SQLPOINTER value, SQLSMALLINT size, SQLSMALLINT*)
{
    const std::string product = "Product";
    EXPECT_GT(size, static_cast<SQLSMALLINT>(product.size()));
    product.copy(static_cast<char*>(value), product.size());
    return SQL_SUCCESS;
}
SQLRETURN SQL_API SQLExecDirect(SQLHSTMT, SQLCHAR* text, SQLINTEGER)
{
    odbc.statements.emplace_back(reinterpret_cast<const char*>(text));
    return odbc.running;
}
SQLRETURN SQL_API SQLEndTran(SQLSMALLINT, SQLHANDLE, SQLSMALLINT) { return SQL_SUCCESS; }
SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLCHAR* state, SQLINTEGER* native,
                                SQLCHAR* message, SQLSMALLINT, SQLSMALLINT* length)
{
    odbc.state.copy(reinterpret_cast<char*>(state), odbc.state.size());
    odbc.message.copy(reinterpret_cast<char*>(message), odbc.message.size());
    *native = odbc.native;
    *length = static_cast<SQLSMALLINT>(odbc.message.size());
    return SQL_SUCCESS;
}

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;
using testing::IsEmpty;

LogLine failure(const std::string& text) { return {16, "DbConnectionManager::connect", text}; }

class Connecting : public testing::Test {
protected:
    Connecting()
    {
        odbc = Odbc();
        settings_.connectionString = "Driver=Any;";
        settings_.queryTimeoutSeconds = 0;
        settings_.connectTimeoutSeconds = 15;
    }

    int connect()
    {
        Dal::DbConnectionManager manager(settings_);
        return Session(manager).guard.status();
    }

    Dal::DbConnectionSettings settings_;
    const CapturedLog log_;
};

TEST_F(Connecting, IsBoundedLikeEachStatementForTheNewConnection)
{
    settings_.onConnect = {"first", "second"};
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(odbc.loginTimeout, 15U);
    odbc.statementTimeouts.resize(2);
    odbc.statements.resize(2);
    EXPECT_THAT(odbc.statementTimeouts, ElementsAre(15, 15));
    EXPECT_THAT(odbc.statements, ElementsAre("first", "second"));
}

TEST_F(Connecting, FailsWithoutAHandle)
{
    odbc.hasConnection = false;
    EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_THAT(log_.lines(), ElementsAre(failure("cannot allocate an ODBC connection handle")));
}

TEST_F(Connecting, FailsWithoutAnEnvironment)
{
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(odbc.versionsSet, 1);
    odbc = Odbc();
    odbc.hasEnvironment = false;
    EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(odbc.versionsSet, 0) << "there is nothing to set it of";
    EXPECT_THAT(log_.lines(), ElementsAre(failure("cannot allocate an ODBC connection handle")));
}

TEST_F(Connecting, TakesAStringOf32000CharactersAndNotOneMore)
{
    ASSERT_EQ(connect(), 0);
    settings_.connectionString.append(32000 - odbc.connectionString.size(), 'x');
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(odbc.connectionString.size(), 32000U);
    settings_.connectionString += 'x';
    EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_THAT(log_.lines(), ElementsAre(failure("the connection string is too long or holds a zero byte")));
}

TEST_F(Connecting, ExplainsThe14OfSqliteAlone)
{
    constexpr int CANNOT_OPEN = 14;
    odbc.connecting = SQL_ERROR;
    for (const char* const driver : {"[SQLite]", "[Other]"}) {
        for (const int native : {CANNOT_OPEN, CANNOT_OPEN - 1}) {
            odbc.native = native;
            odbc.message = std::string(driver) + "failed";
            EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
        }
    }
    const std::string prefix = "cannot connect to the database, SQLSTATE HY000: ";
    EXPECT_THAT(log_.lines(),
                ElementsAre(failure(prefix + "[SQLite]failed: the file does not exist or cannot be opened"),
                            failure(prefix + "[SQLite]failed"), failure(prefix + "[Other]failed"),
                            failure(prefix + "[Other]failed")));
}

TEST_F(Connecting, IsUndoneIfItSucceeded)
{
    EXPECT_EQ(connect(), 0);
    EXPECT_EQ(odbc.disconnected, 1);
    odbc.connecting = SQL_ERROR;
    EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(odbc.disconnected, 1);
}

TEST_F(Connecting, GoesOnAfterAStatementThatConcernsNoRow)
{
    settings_.onConnect = {"a statement"};
    odbc.running = SQL_NO_DATA;
    EXPECT_EQ(connect(), 0);
    odbc.running = SQL_ERROR;
    EXPECT_EQ(connect(), Dal::STATUS_CONNECT_FAILED);
    EXPECT_EQ(odbc.disconnected, 2);
}

class MissingBound : public Connecting, public testing::WithParamInterface<SQLRETURN> {
protected:
    MissingBound()
    {
        odbc.bounding = GetParam();
        settings_.queryTimeoutSeconds = 40;
    }

    /// Asks in a new process, because each process logs this only once.
    [[nodiscard]] bool isTold(const std::string& state)
    {
        return holdsInChild([&] {
            odbc.state = state;
            return connect() == 0 && !log_.lines().empty();
        });
    }
};

TEST_P(MissingBound, IsToldForTheStatesThatMeanIt)
{
    for (const char* const state : {"01S02", "HYC00", "IM001"}) {
        EXPECT_TRUE(isTold(state)) << state;
    }
    EXPECT_FALSE(isTold("08S01"));
}

INSTANTIATE_TEST_SUITE_P(AnErrorAnd, MissingBound, testing::Values(SQL_ERROR, SQL_SUCCESS_WITH_INFO));

TEST_F(Connecting, AsksForNoBoundOfStatementsThatMayTakeTheirTime)
{
    odbc.bounding = SQL_ERROR;
    odbc.state = "HYC00";
    EXPECT_EQ(connect(), 0);
    EXPECT_THAT(log_.lines(), IsEmpty());
}

} // namespace
} // namespace keepsafe_test
