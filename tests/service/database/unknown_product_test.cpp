/// A database of a kind that the service's statements are not written for. Here it is SQLite under another
/// name.

#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include <sql.h>
#include <sqlext.h>

#include "database/schema.h"
#include "support/PrivateDatabase.h"
#include "support/thrown.h"

/// Stands in for the driver manager's.
SQLRETURN SQL_API SQLGetInfo(SQLHDBC, SQLUSMALLINT, SQLPOINTER value, SQLSMALLINT, SQLSMALLINT* length)
{
    constexpr char PRODUCT[] = "MariaDB";
    std::memcpy(value, PRODUCT, sizeof PRODUCT);
    *length = sizeof PRODUCT - 1;
    return SQL_SUCCESS;
}

namespace keepsafe_test {
namespace {

using keepsafe_service::Database;
using keepsafe_service::DatabaseError;
using keepsafe_service::SchemaOrigin;

TEST(ADatabaseOfAnotherKind, IsRefusedBeforeAnythingIsMade)
{
    PrivateDatabase database(DatabaseKind::Sqlite);
    Database connection(database.settings());
    EXPECT_STREQ(thrownBy<DatabaseError>([&] { ensureSchema(connection, SchemaOrigin::Attached); }).what(),
                 "cannot use a database of MariaDB: it must be of PostgreSQL or SQLite");
    EXPECT_EQ(connection.number("count", "SELECT COUNT(*) FROM AUTH_MAIN.sqlite_master"), 0);
}

} // namespace
} // namespace keepsafe_test
