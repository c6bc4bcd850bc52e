/// A driver that cannot bound the time of a statement. The driver here is SQLite's, with another answer.

#include <keepsafe/platform/dal/Dal.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sql.h>
#include <sqlext.h>

#include "Session.h"
#include "support/CapturedLog.h"

namespace {

bool answersWithError = false;

} // namespace

/// Stands in for the driver manager's: refuses, with a diagnostic that the real one makes for an attribute
/// that no driver has.
SQLRETURN SQL_API SQLSetStmtAttr(SQLHSTMT, SQLINTEGER, SQLPOINTER, SQLINTEGER)
{
    answersWithError = true;
    return SQL_ERROR;
}

SQLRETURN SQL_API SQLGetDiagRec(SQLSMALLINT, SQLHANDLE, SQLSMALLINT, SQLCHAR* state, SQLINTEGER* native,
                                SQLCHAR* message, SQLSMALLINT, SQLSMALLINT* length)
{
    const std::string text = answersWithError ? "HYC00" : "00000";
    text.copy(reinterpret_cast<char*>(state), text.size());
    *native = 0;
    *message = 0;
    *length = 0;
    return SQL_SUCCESS;
}

namespace keepsafe_test {
namespace {

namespace Dal = Tessara::Dal;
using testing::ElementsAre;

TEST(ADriverWithoutABound, IsReportedOnceInAProcess)
{
    Dal::DbConnectionSettings settings;
    settings.connectionString = "Driver=SQLite3;Database=:memory:;";
    const CapturedLog log;
    settings.queryTimeoutSeconds = 0;
    Dal::DbConnectionManager unbounded(settings);
    EXPECT_EQ(Session(unbounded).guard.status(), 0);
    EXPECT_THAT(log.lines(), ElementsAre()) << "no bound was asked for";
    settings.queryTimeoutSeconds = 40;
    for (int connection = 0; connection < 2; ++connection) {
        Dal::DbConnectionManager manager(settings);
        EXPECT_EQ(Session(manager).guard.status(), 0);
    }
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{8, "DbConnectionManager::connect",
                                    "the driver of SQLite cannot bound the time of a statement (SQLSTATE "
                                    "HYC00): a server that stops answering is waited for as long as the "
                                    "driver's own keywords say"}));
}

} // namespace
} // namespace keepsafe_test
