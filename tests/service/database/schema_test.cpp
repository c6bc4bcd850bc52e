#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "database/schema.h"
#include "support/CapturedLog.h"
#include "support/PrivateDatabase.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::Database;
using keepsafe_service::DatabaseError;
using keepsafe_service::ensureSchema;
using keepsafe_service::SchemaOrigin;

class Schema : public testing::TestWithParam<DatabaseKind> {
protected:
    void ensure() { ensureSchema(database_, SchemaOrigin::Attached); }

    std::vector<std::string> rows(const std::string& sql)
    {
        std::vector<std::string> found;
        database_.forEachRow("read", sql, 1,
                             [&](const Database::Texts& row) { found.push_back(row.front()); });
        return found;
    }

    CapturedLog log_;
    PrivateDatabase private_{GetParam()};
    Database database_{private_.settings()};
};

INSTANTIATE_TEST_SUITE_P(Databases, Schema, allDatabases(), kindName);

TEST_P(Schema, HasRole0AndTheCountersFromTheBeginning)
{
    ensure();
    EXPECT_EQ(rows("SELECT Name FROM AUTH_MAIN.ACTL_Role WHERE RoleID = 0 AND SystemDefined = 1"),
              (std::vector<std::string>{"Administrator"}));
    EXPECT_EQ(rows("SELECT Kind FROM AUTH_MAIN.ACTL_NextID WHERE NextID = 1 ORDER BY Kind"),
              (std::vector<std::string>{"accessDefinition", "role"}));
}

TEST_P(Schema, MadeAgainKeepsWhatIsThere)
{
    ensure();
    private_.run("INSERT INTO AUTH_MAIN.ACTL_ManagedObject VALUES (1, '|A|', '', 1, 'READY', 0)");
    private_.run("UPDATE AUTH_MAIN.ACTL_Role SET Name = 'other'");
    private_.run("UPDATE AUTH_MAIN.ACTL_NextID SET NextID = 9");
    ensure();
    EXPECT_EQ(rows("SELECT Namespace FROM AUTH_MAIN.ACTL_ManagedObject").size(), 1U);
    EXPECT_EQ(rows("SELECT Name FROM AUTH_MAIN.ACTL_Role"), (std::vector<std::string>{"other"}));
    EXPECT_EQ(rows("SELECT Kind FROM AUTH_MAIN.ACTL_NextID WHERE NextID = 9").size(), 2U);
}

TEST_P(Schema, OfADatabaseWithTheLibrarysTwoTablesAloneIsMadeWhole)
{
    ensure();
    for (const std::string table : {"ACTL_Role", "ACTL_Operation", "ACTL_ManagedObject",
                                    "ACTL_AccessDefinition", "ACTL_NextID", "ACTL_Change", "ACTL_Revision"}) {
        private_.run("DROP TABLE AUTH_MAIN." + table);
    }
    private_.run("INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details VALUES ('session', 'token')");
    EXPECT_EQ(ensureSchema(database_, SchemaOrigin::Attached).tokens, 1);
    EXPECT_EQ(rows("SELECT Name FROM AUTH_MAIN.ACTL_Role").size(), 1U);
}

TEST_P(Schema, OfAStoreFromBeforeTheJournalGetsOneThatBeginsNow)
{
    ensure();
    private_.run("DROP TABLE AUTH_MAIN.ACTL_Change");
    private_.run("DROP TABLE AUTH_MAIN.ACTL_Revision");
    private_.run("INSERT INTO AUTH_MAIN.ACTL_ManagedObject VALUES (1, '|A|', '', 1, 'READY', 0)");
    for (int start = 0; start < 2; ++start) {
        ensure();
        EXPECT_EQ(rows("SELECT What FROM AUTH_MAIN.ACTL_Change WHERE Revision = 1"),
                  (std::vector<std::string>{"journalBegun"}));
        EXPECT_EQ(rows("SELECT What FROM AUTH_MAIN.ACTL_Change").size(), 1U) << "no invented history";
        EXPECT_EQ(rows("SELECT Kind FROM AUTH_MAIN.ACTL_Revision WHERE LastRevision = 1").size(), 1U);
    }
}

TEST_P(Schema, RefusesATableOfAnotherShape)
{
    private_.run("CREATE TABLE AUTH_MAIN.ACTL_ManagedObject (other INTEGER)");
    EXPECT_THROW(ensure(), DatabaseError);
}

TEST_P(Schema, TellsIdentifiersOfSessionsApartByTheirBytes)
{
    ensure();
    for (const std::string identifier : {"k", "K", "k "}) {
        private_.run("INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details VALUES ('" + identifier +
                     "', 'token')");
    }
    EXPECT_EQ(ensureSchema(database_, SchemaOrigin::Attached).tokens, 3);
}

TEST_P(Schema, RefusesATableThatTakesDifferentIdentifiersForTheSame)
{
    std::vector<std::string> collations = {"NOCASE", "RTRIM"};
    if (GetParam() == DatabaseKind::Postgres) {
        private_.run("CREATE COLLATION AUTH_MAIN.nocase (provider = icu, deterministic = false, "
                     "locale = 'und-u-ks-level2')");
        collations = {"AUTH_MAIN.nocase"};
    }
    for (const std::string& collation : collations) {
        private_.run(
            "CREATE TABLE AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue VARCHAR(255) COLLATE " +
            collation + " NOT NULL PRIMARY KEY, AzTokenValue TEXT NOT NULL)");
        EXPECT_STREQ(thrownBy<DatabaseError>([this] { ensure(); }).what(),
                     "cannot use the table AUTH_MAIN.AUTH_Access_Token_Details: its column SessionTokenValue "
                     "must have a binary collation");
        private_.run("DROP TABLE AUTH_MAIN.AUTH_Access_Token_Details");
    }
}

TEST(PostgresSchema, ComparesIdentifiersOfSessionsByTheCollationC)
{
    PrivateDatabase database(DatabaseKind::Postgres);
    Database connection(database.settings());
    ensureSchema(connection, SchemaOrigin::Attached);
    std::vector<std::string> found;
    connection.forEachRow(
        "read",
        "SELECT CAST(collation_name AS TEXT) FROM information_schema.columns WHERE table_schema = "
        "'auth_main' AND column_name = 'sessiontokenvalue'",
        1, [&](const Database::Texts& row) { found.push_back(row.front()); });
    EXPECT_EQ(found, (std::vector<std::string>{"C"}));
}

} // namespace
} // namespace keepsafe_test
