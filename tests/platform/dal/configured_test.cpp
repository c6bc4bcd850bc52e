/// Managers that connect as the product's configuration says.

#include <keepsafe/platform/dal/Dal.h>

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

class ConfiguredManager : public testing::Test {
protected:
    void configure(const std::string& text) { writeFile(root.path("etc/keepsafe.toml"), text); }

    void configureDatabase(const std::string& file)
    {
        configure("[database]\nconnection = \"Driver=SQLite3;NoCreat=0;Database=" + root.path(file) +
                  ";\"\non_connect = [\"ATTACH DATABASE '" + root.path("auth.db") +
                  "' AS AUTH_MAIN\", \"CREATE TEMPORARY TABLE Mine (Name TEXT)\"]\n");
    }

    int statusOfAConnection()
    {
        Dal::DbConnectionManager manager(1, 2, 0, 1, 30, 15, 40, Dal::APPLICATION_USER, false);
        return Session(manager).guard.status();
    }

    TempRoot root;
};

TEST_F(ConfiguredManager, ConnectsAndRunsTheStatementsForANewConnection)
{
    configureDatabase("main.db");
    Dal::DbConnectionManager manager(1, 2, 0, 1, 30, 15, 40, Dal::APPLICATION_USER, false);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
    EXPECT_EQ(runCommand(manager, "CREATE TABLE AUTH_MAIN.Things (Name TEXT)"), 0);
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT Name FROM Mine", text), Dal::STATUS_NO_MORE_ROWS);
}

TEST_F(ConfiguredManager, ConnectsAtOnceWhenAsked)
{
    configureDatabase("main.db");
    const Dal::DbConnectionManager manager(1, 2, 0, 1, 30, 15, 40, Dal::APPLICATION_USER, true);
    EXPECT_EQ(manager.connectionIndicator(), 1U);
}

TEST_F(ConfiguredManager, ShowsThatItCouldNotConnectAtOnce)
{
    configureDatabase("nowhere/main.db");
    const Dal::DbConnectionManager manager(1, 2, 0, 1, 30, 15, 40, Dal::APPLICATION_USER, true);
    EXPECT_EQ(manager.connectionIndicator(), 0U);
}

TEST_F(ConfiguredManager, ReadsTheConfigurationAnewForEachNewConnection)
{
    configureDatabase("first.db");
    Dal::DbConnectionManager manager(0, 2, 0, 1, 0, 15, 40, Dal::APPLICATION_USER, false);
    ASSERT_EQ(runCommand(manager, "CREATE TABLE Things (Name TEXT)"), 0);
    configureDatabase("second.db");
    std::string text;
    EXPECT_EQ(queryText(manager, "SELECT Name FROM main.Things", text), Dal::STATUS_STATEMENT_FAILED);
    configureDatabase("first.db");
    EXPECT_EQ(queryText(manager, "SELECT Name FROM main.Things", text), Dal::STATUS_NO_MORE_ROWS);
}

TEST_F(ConfiguredManager, HasNoConnectionWithoutAConfiguration)
{
    const CapturedLog log;
    EXPECT_EQ(statusOfAConnection(), Dal::STATUS_NOT_CONFIGURED);
    configure("[database]\non_connect = []\n");
    EXPECT_EQ(statusOfAConnection(), Dal::STATUS_NOT_CONFIGURED);
    const LogLine expected{16, "DbConnectionManager::connect", "no database connection is configured"};
    EXPECT_THAT(log.lines(), ElementsAre(expected, expected));
}

TEST_F(ConfiguredManager, SaysWhereTheConfigurationIsWrongWithoutShowingIt)
{
    const std::string file = root.path("etc/keepsafe.toml");
    const CapturedLog log;
    configure("[database]\nconnection = [\"Pwd=geheim\"]\n");
    EXPECT_EQ(statusOfAConnection(), Dal::STATUS_NOT_CONFIGURED);
    configure("[database]\nconnection = \"Pwd=geheim\n\"\n");
    EXPECT_EQ(statusOfAConnection(), Dal::STATUS_NOT_CONFIGURED);
    ASSERT_EQ(log.lines().size(), 2U);
    EXPECT_EQ(log.lines()[0], (LogLine{16, "DbConnectionManager::connect",
                                       file + ":2:14: \"database.connection\" must be a string, not of type "
                                              "array"}));
    EXPECT_THAT(log.lines()[1].text, testing::StartsWith(file + ":2:"));
    EXPECT_THAT(log.lines()[1].text, testing::Not(testing::HasSubstr("geheim")));
}

TEST_F(ConfiguredManager, SurvivesAConfigurationThatCannotBeRead)
{
    writeFile(root.path("etc/keepsafe.toml/a-folder-in-its-place"), "");
    const CapturedLog log;
    EXPECT_EQ(statusOfAConnection(), Dal::STATUS_NOT_CONFIGURED);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, 16);
}

} // namespace
} // namespace keepsafe_test
