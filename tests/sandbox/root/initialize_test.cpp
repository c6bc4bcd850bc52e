#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "criteria/CriteriaStore.h"
#include "daemon/configuration.h"
#include "errors/InputError.h"
#include "root/configuration.h"
#include "root/initialize.h"
#include "root/signing_keys.h"
#include "sandbox/root/TestRoot.h"
#include "support/CapturedLog.h"
#include "support/thrown.h"
#include "tokens/TokenIssuer.h"

namespace keepsafe_test {
namespace {

using keepsafe_sandbox::CriteriaStore;
using keepsafe_sandbox::initializeRoot;
using keepsafe_sandbox::loadDatabaseSettings;
using keepsafe_sandbox::RootLayout;
using keepsafe_sandbox::TokenStore;
using keepsafe_service::Database;
using keepsafe_service::DatabaseError;
using keepsafe_service::InputError;
using Tessara::Dal::DbConnectionSettings;
namespace fs = std::filesystem;

const std::string EMPTY_DATABASE = "the database has the tables of AUTH_MAIN, with 0 tokens and 0 criteria";

class Initialize : public testing::Test {
protected:
    using Lines = std::vector<std::string>;

    std::vector<std::string> init() const { return initializeRoot(root_.layout); }

    std::string refusal(const DbConnectionSettings& database) const
    {
        return thrownBy<InputError>([&] { initializeRoot(root_.layout, database); }).what();
    }

    /// What init says of the TLS files, all of them kept or made.
    [[nodiscard]] Lines tlsLines(const std::string& word) const
    {
        Lines lines;
        for (const std::string& path :
             {layout_.authorityKey(), layout_.authorityCertificate(), layout_.serverKey(),
              layout_.serverCertificate(), layout_.hostKey(), layout_.hostCertificate()}) {
            lines.push_back(word + ' ' + path);
        }
        return lines;
    }

    static Lines joined(Lines lines, const Lines& middle, const Lines& end)
    {
        lines.insert(lines.end(), middle.begin(), middle.end());
        lines.insert(lines.end(), end.begin(), end.end());
        return lines;
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

    TestRoot root_;
    const RootLayout& layout_ = root_.layout;
    CapturedLog log_;
};

TEST_F(Initialize, MakesEverythingThatAWorkingRootNeeds)
{
    EXPECT_EQ(init(),
              joined({"made " + layout_.privateKey(), "made " + layout_.publicKey()}, tlsLines("made"),
                     {"made " + layout_.database(), EMPTY_DATABASE, "made " + layout_.configuration()}));
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
    EXPECT_EQ(modeOf(layout_.serviceTlsFolder()), 0700U);
    EXPECT_EQ(modeOf(layout_.authorityKey()), 0600U);
    EXPECT_EQ(modeOf(layout_.serverKey()), 0600U);
    EXPECT_EQ(modeOf(layout_.hostKey()), 0600U);
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
              joined({"kept " + layout_.privateKey(), "kept " + layout_.publicKey()}, tlsLines("kept"),
                     {"kept " + layout_.database(),
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

    EXPECT_EQ(init(),
              joined({"kept " + layout_.privateKey(), "made " + layout_.publicKey()}, tlsLines("kept"),
                     {"made " + layout_.database(), EMPTY_DATABASE, "made " + layout_.configuration()}));
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
    other.connectionString = "Driver=SQLite3;NoCreat=0;Database=" + root_.folder.path("main.db") + ";";
    other.onConnect = {"ATTACH DATABASE '" + root_.folder.path("auth.db") + "' AS AUTH_MAIN"};

    EXPECT_EQ(initializeRoot(layout_, other),
              joined({"made " + layout_.privateKey(), "made " + layout_.publicKey()}, tlsLines("made"),
                     {EMPTY_DATABASE, "made " + layout_.configuration()}));
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

TEST_F(Initialize, NamesTheMasterServerAndTheHostsFilesInTheConfiguration)
{
    initializeRoot(layout_, std::nullopt, "master.example");
    const auto configuration = keepsafe_service::findConfiguration(layout_.configuration()).value();
    EXPECT_EQ(configuration.masterServer, "master.example");
    EXPECT_EQ(configuration.tlsCertificate, layout_.hostCertificate());
    EXPECT_EQ(configuration.tlsKey, layout_.hostKey());
    EXPECT_EQ(configuration.tlsCa, layout_.authorityCertificate());
}

TEST_F(Initialize, TakesTheLoopbackAddressForTheServiceWhenNobodyNamesOne)
{
    init();
    EXPECT_EQ(keepsafe_service::findConfiguration(layout_.configuration()).value().masterServer, "127.0.0.1");
}

TEST_F(Initialize, KeepsTheMasterServerThatTheConfigurationNames)
{
    initializeRoot(layout_, std::nullopt, "master.example");
    EXPECT_EQ(init().back(), "kept " + layout_.configuration());
    EXPECT_EQ(initializeRoot(layout_, std::nullopt, "master.example").back(),
              "kept " + layout_.configuration());
}

TEST_F(Initialize, RefusesAnotherMasterServerThanTheConfigurationNames)
{
    init();
    EXPECT_EQ(thrownBy<InputError>([this] { initializeRoot(layout_, std::nullopt, "127.0.0.2"); }).what(),
              layout_.configuration() +
                  " names another master server, 127.0.0.1: change it there, or move the file away");
}

TEST_F(Initialize, RefusesAMasterServerThatIsNoneBeforeItMakesAnything)
{
    for (const char* service : {"", "a b", "DNS:x,IP:127.0.0.9", "-x", "[::1]"}) {
        EXPECT_THROW(initializeRoot(layout_, std::nullopt, service), InputError) << service;
    }
    EXPECT_TRUE(files().empty());
}

TEST_F(Initialize, TellsWhatAnOlderConfigurationHasToBeTold)
{
    writeFile(root_.folder.path("auth.db"), "");
    writeFile(layout_.configuration(),
              "[features]\nenabled = [1]\n[database]\nconnection = "
              "\"Driver=SQLite3;Database=:memory:;\"\non_connect = [\"ATTACH DATABASE '" +
                  root_.folder.path("auth.db") + "' AS AUTH_MAIN\"]\n");
    const std::string before = readFile(layout_.configuration());

    const Lines lines = initializeRoot(layout_, std::nullopt, "127.0.0.2");

    EXPECT_EQ(Lines(lines.end() - 6, lines.end()),
              (Lines{"kept " + layout_.configuration(),
                     "to reach the service, add to " + layout_.configuration() +
                         ", at its beginning, what it leaves out:",
                     "    master_server = \"127.0.0.2\"",
                     "    tls.certificate = \"" + layout_.hostCertificate() + "\"",
                     "    tls.key = \"" + layout_.hostKey() + "\"",
                     "    tls.ca = \"" + layout_.authorityCertificate() + "\""}));
    EXPECT_EQ(readFile(layout_.configuration()), before);

    std::string added;
    for (auto line = lines.end() - 4; line != lines.end(); ++line) {
        added += *line + '\n';
    }
    writeFile(layout_.configuration(), added + before);
    EXPECT_EQ(init().back(), "kept " + layout_.configuration());
}

} // namespace
} // namespace keepsafe_test
