#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "cachewriter/errors.h"
#include "criteria/CriteriaStore.h"
#include "root/configuration.h"
#include "root/initialize.h"
#include "root/signing_keys.h"
#include "sandbox/root/TestRoot.h"
#include "support/CapturedLog.h"
#include "tokens/TokenIssuer.h"

namespace {

using keepsafe_sandbox::CriteriaStore;
using keepsafe_sandbox::Database;
using keepsafe_sandbox::DatabaseError;
using keepsafe_sandbox::initializeRoot;
using keepsafe_sandbox::InputError;
using keepsafe_sandbox::loadDatabaseSettings;
using keepsafe_sandbox::RootLayout;
using keepsafe_sandbox::TokenStore;
using keepsafe_test::readFile;
using keepsafe_test::writeFile;
using Tessara::Dal::DbConnectionSettings;
namespace fs = std::filesystem;

const std::string EMPTY_DATABASE = "the database has the tables of AUTH_MAIN, with 0 tokens and 0 criteria";

class Initialize : public testing::Test {
protected:
    std::vector<std::string> init() const { return initializeRoot(root_.layout); }

    std::string refusal(const DbConnectionSettings& database) const
    {
        try {
            initializeRoot(root_.layout, database);
        } catch (const InputError& error) {
            return error.what();
        }
        return "no error";
    }

    [[nodiscard]] mode_t modeOf(const std::string& path) const
    {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777U;
    }

    /// Every file of the root with its content.
    [[nodiscard]] std::map<std::string, std::string> files() const
    {
        std::map<std::string, std::string> found;
        for (const auto& entry : fs::recursive_directory_iterator(root_.folder.path())) {
            if (entry.is_regular_file()) {
                found[entry.path().string()] = readFile(entry.path().string());
            }
        }
        return found;
    }

    keepsafe_test::TestRoot root_;
    const RootLayout& layout_ = root_.layout;
    keepsafe_test::CapturedLog log_;
};

TEST_F(Initialize, MakesEverythingThatAWorkingRootNeeds)
{
    EXPECT_EQ(init(), (std::vector<std::string>{"made " + layout_.privateKey(), "made " + layout_.publicKey(),
                                                "made " + layout_.database(), EMPTY_DATABASE,
                                                "made " + layout_.configuration()}));
    EXPECT_TRUE(fs::is_directory(root_.folder.path("wmc/webserver/temp/access-caches")));
    EXPECT_TRUE(fs::is_regular_file(root_.folder.path("var/global/tssec/jwtkeys/jwtPublicKey")));
    EXPECT_TRUE(fs::is_regular_file(root_.folder.path("etc/keepsafe.toml")));
}

TEST_F(Initialize, KeepsSecretsToTheOwner)
{
    init();
    EXPECT_EQ(modeOf(layout_.configuration()), 0600U);
    EXPECT_EQ(modeOf(layout_.database()), 0600U);
    EXPECT_EQ(modeOf(layout_.privateFolder()), 0700U);
    EXPECT_EQ(modeOf(layout_.publicKey()), 0644U);
}

TEST_F(Initialize, KeepsEverythingWhenItIsRunAgain)
{
    init();
    Database database(loadDatabaseSettings(layout_));
    TokenStore(database).add("session", "token");
    CriteriaStore(database).add({42, "VM", "{}"});
    const auto before = files();

    EXPECT_EQ(init(),
              (std::vector<std::string>{
                  "kept " + layout_.privateKey(), "kept " + layout_.publicKey(), "kept " + layout_.database(),
                  "the database has the tables of AUTH_MAIN, with 1 tokens and 1 criteria",
                  "kept " + layout_.configuration()}));
    EXPECT_EQ(files(), before);
}

TEST_F(Initialize, MakesAgainWhatIsMissing)
{
    init();
    fs::remove(layout_.configuration());
    fs::remove(layout_.publicKey());
    fs::remove(layout_.database());

    EXPECT_EQ(init(), (std::vector<std::string>{"kept " + layout_.privateKey(), "made " + layout_.publicKey(),
                                                "made " + layout_.database(), EMPTY_DATABASE,
                                                "made " + layout_.configuration()}));
}

TEST_F(Initialize, TellsWhenAKeptConfigurationSwitchesEnforcementOff)
{
    init();
    std::string text = readFile(layout_.configuration());
    text.replace(text.find("[1]"), 3, "[]");
    writeFile(layout_.configuration(), text);

    EXPECT_EQ(init().back(),
              "kept " + layout_.configuration() + ", where feature 1, role-based enforcement, is off");
}

TEST_F(Initialize, LeavesNoConfigurationWhenTheDatabaseCannotBeReached)
{
    DbConnectionSettings unreachable;
    unreachable.connectionString = "Driver=SQLite3;Database=" + root_.folder.path("none/main.db") + ";";
    EXPECT_THROW(initializeRoot(layout_, unreachable), DatabaseError);
    EXPECT_FALSE(fs::exists(layout_.configuration()));

    EXPECT_EQ(init().back(), "made " + layout_.configuration());
}

TEST_F(Initialize, TakesAnotherDatabaseWithStatementsThatAttachTheSchema)
{
    DbConnectionSettings other;
    other.connectionString = "Driver=SQLite3;Database=" + root_.folder.path("main.db") + ";";
    other.onConnect = {"ATTACH DATABASE '" + root_.folder.path("auth.db") + "' AS AUTH_MAIN"};

    EXPECT_EQ(initializeRoot(layout_, other),
              (std::vector<std::string>{"made " + layout_.privateKey(), "made " + layout_.publicKey(),
                                        EMPTY_DATABASE, "made " + layout_.configuration()}));
    EXPECT_FALSE(fs::exists(layout_.database()));
    EXPECT_EQ(loadDatabaseSettings(layout_).connectionString, other.connectionString);
    EXPECT_EQ(initializeRoot(layout_, other).back(), "kept " + layout_.configuration());
}

TEST_F(Initialize, RefusesAnotherDatabaseThanTheConfigurationNames)
{
    init();
    DbConnectionSettings other;
    other.connectionString = "Driver=Other;";
    EXPECT_EQ(refusal(other),
              layout_.configuration() + " names another database: change it there, or move the file away");
}

TEST_F(Initialize, RefusesATableOfAnotherShape)
{
    init();
    {
        Database database(loadDatabaseSettings(layout_));
        database.change("drop", "DROP TABLE AUTH_MAIN.ACTL_CollectionCriteria");
        database.change("create", "CREATE TABLE AUTH_MAIN.ACTL_CollectionCriteria (other INTEGER)");
    }
    EXPECT_THROW(init(), DatabaseError);
}

TEST_F(Initialize, RefusesADatabaseFileThatIsNone)
{
    init();
    const std::string content(4096, 'x');
    writeFile(layout_.database(), content);
    EXPECT_THROW(init(), DatabaseError);
    EXPECT_EQ(readFile(layout_.database()), content);
}

TEST_F(Initialize, WorksInARootWhoseNameNeedsQuoting)
{
    const RootLayout odd(root_.folder.path("it's \"odd\"; {really}"));
    EXPECT_EQ(initializeRoot(odd).back(), "made " + odd.configuration());
    EXPECT_EQ(initializeRoot(odd).back(), "kept " + odd.configuration());
}

} // namespace
