#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "daemon/configuration.h"
#include "errors/InputError.h"
#include "root/configuration.h"
#include "sandbox/root/TestRoot.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::configurationText;
using keepsafe_sandbox::loadDatabaseSettings;
using keepsafe_sandbox::RootLayout;
using keepsafe_service::databaseSettings;
using keepsafe_service::findConfiguration;
using keepsafe_service::InputError;
using Tessara::Dal::DbConnectionSettings;
using Tessara::Keepsafe::Platform::Config;

DbConnectionSettings settings(const std::string& connection, const std::vector<std::string>& onConnect = {})
{
    DbConnectionSettings database;
    database.connectionString = connection;
    database.onConnect = onConnect;
    return database;
}

class RootConfiguration : public testing::Test {
protected:
    void write(const std::string& text) const { writeFile(root_.layout.configuration(), text); }

    [[nodiscard]] std::string refusal() const
    {
        return thrownBy<InputError>([this] { (void)findConfiguration(root_.layout.configuration()); }).what();
    }

    TestRoot root_;
};

TEST_F(RootConfiguration, SwitchesEnforcementOnAndLogsBelowTheRoot)
{
    write(configurationText(root_.layout, settings("Driver=X;")));

    const Config config = findConfiguration(root_.layout.configuration()).value();
    EXPECT_EQ(config.enabledFeatures, std::set<int>{1});
    EXPECT_EQ(config.logDestination, "file:" + root_.folder.path("var/log/keepsafe.log"));
}

TEST_F(RootConfiguration, GivesBackEveryConnectionStringAndStatement)
{
    const std::string odd = "Driver={A \"B\" \\C};Pwd='tab\t line\n del\x7F J\xC3\xB6rg #';";
    write(configurationText(root_.layout, settings(odd, {"ATTACH 'a''b' AS X", odd, "", "#"})));

    const DbConnectionSettings read = loadDatabaseSettings(root_.layout);
    EXPECT_EQ(read.connectionString, odd);
    EXPECT_EQ(read.onConnect, (std::vector<std::string>{"ATTACH 'a''b' AS X", odd, "", "#"}));
}

TEST_F(RootConfiguration, RefusesToHoldTextThatIsNotUtf8)
{
    EXPECT_THROW((void)configurationText(root_.layout, settings("Pwd=\xFF;")), InputError);
    EXPECT_THROW((void)configurationText(RootLayout("/r\xC3"), settings("Driver=X;")), InputError);
}

TEST_F(RootConfiguration, ThatIsMissingIsNone)
{
    EXPECT_FALSE(findConfiguration(root_.layout.configuration()).has_value());
    EXPECT_THROW((void)loadDatabaseSettings(root_.layout), InputError);
}

TEST_F(RootConfiguration, ThatNamesNoDatabaseIsRefused)
{
    write("[features]\nenabled = [1]\n");
    EXPECT_EQ(refusal(), root_.layout.configuration() +
                             " names no database: add 'connection' under [database], or move the file away");
}

TEST_F(RootConfiguration, ThatIsMalformedIsRefusedWithItsPlace)
{
    write("[features\n");
    EXPECT_EQ(refusal().rfind(root_.layout.configuration() + ":1:", 0), 0U) << refusal();
}

} // namespace
} // namespace keepsafe_test
