#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/Process.h"
#include "support/TempDir.h"

/// ksrbac-sandbox init, token and criteria, as they are called.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
namespace fs = std::filesystem;

class RootProgram : public testing::Test {
protected:
    ProgramResult run(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), KEEPSAFE_SANDBOX_PROGRAM);
        arguments.insert(arguments.end(), {"--root", root()});
        return runProgram(arguments);
    }

    ProgramResult issue(const std::string& roles, const std::string& lifetime) const
    {
        return run({"token", "issue", "--subject", "a", "--roles", roles, "--lifetime=" + lifetime});
    }

    static constexpr int AT_ONCE = 6;

    /// Runs the same command in several processes at once. Returns the exit status and the messages of each.
    std::vector<std::string> atOnce(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), KEEPSAFE_SANDBOX_PROGRAM);
        arguments.insert(arguments.end(), {"--root", root()});
        std::vector<Process> processes;
        for (int i = 0; i < AT_ONCE; ++i) {
            processes.push_back(
                Process::start(arguments, dir_.path("output"), dir_.path("errors" + std::to_string(i))));
        }
        std::vector<std::string> outcomes;
        for (int i = 0; i < AT_ONCE; ++i) {
            const int status = processes[static_cast<std::size_t>(i)].wait().exitStatus;
            outcomes.push_back(std::to_string(status) + ' ' +
                               readFile(dir_.path("errors" + std::to_string(i))));
        }
        return outcomes;
    }

    std::string root() const { return dir_.path("root"); }
    std::string file(const std::string& name, const std::string& content) const
    {
        writeFile(dir_.path(name), content);
        return dir_.path(name);
    }

    TempDir dir_;
};

/// The message without the lines that the database layer logged before it.
std::string lastLine(const std::string& text)
{
    const std::size_t end = text.find_last_not_of('\n');
    return text.substr(text.rfind('\n', end) + 1);
}

TEST_F(RootProgram, InitSaysWhatItMadeAndWhatItKept)
{
    const ProgramResult made = run({"init"});
    const ProgramResult kept = run({"init"});

    EXPECT_EQ(made.errors + kept.errors, "");
    EXPECT_EQ(made.exitStatus, 0);
    EXPECT_EQ(kept.exitStatus, 0);
    EXPECT_EQ(made.output,
              "made " + root() + "/var/sandbox/signing-key.pem\nmade " + root() +
                  "/var/global/tssec/jwtkeys/jwtPublicKey\nmade " + root() +
                  "/var/sandbox/tls/ca.key\nmade " + root() + "/etc/tls/ca.pem\nmade " + root() +
                  "/var/sandbox/tls/server.key\nmade " + root() + "/var/sandbox/tls/server.pem\nmade " +
                  root() + "/etc/tls/host.key\nmade " + root() + "/etc/tls/host.pem\nmade " + root() +
                  "/var/sandbox/auth_main.db\n"
                  "the database has the tables of AUTH_MAIN, with 0 tokens and 0 criteria\nmade " +
                  root() + "/etc/keepsafe.toml\n");
    EXPECT_THAT(kept.output, StartsWith("kept " + root() + "/var/sandbox/signing-key.pem\n"));
}

TEST_F(RootProgram, InitWorksForSeveralProcessesAtOnce)
{
    const std::vector<std::string> outcomes = atOnce({"init"});

    EXPECT_EQ(outcomes, std::vector<std::string>(AT_ONCE, "0 "));
    EXPECT_THAT(run({"init"}).output, StartsWith("kept "));
    EXPECT_EQ(issue("1", "8h").exitStatus, 0);
}

TEST_F(RootProgram, InitIsToldWhereTheServiceIs)
{
    const ProgramResult made = run({"init", "--service", "127.0.0.2"});

    EXPECT_EQ(made.exitStatus, 0) << made.errors;
    EXPECT_THAT(readFile(root() + "/etc/keepsafe.toml"), HasSubstr("master_server = \"127.0.0.2\"\n"));
    EXPECT_EQ(
        run({"init", "--service", "no name"}).errors,
        "ksrbac-sandbox: " + root() +
            "/etc/keepsafe.toml names another master server, 127.0.0.2: change it there, or move the file "
            "away\n");
}

TEST_F(RootProgram, InitTakesAConnectionFromAFileSoThatNobodySeesItsPassword)
{
    const std::string connection =
        "Driver=SQLite3;NoCreat=0;Database=" + dir_.path("main.db") + ";Pwd=secret;";
    const ProgramResult made =
        run({"init", "--database-file", file("connection", connection + "\n"), "--on-connect",
             "ATTACH DATABASE '" + dir_.path("auth.db") + "' AS AUTH_MAIN"});

    EXPECT_EQ(made.exitStatus, 0) << made.errors;
    EXPECT_THAT(readFile(root() + "/etc/keepsafe.toml"), HasSubstr(connection));
    EXPECT_EQ((made.output + made.errors).find("secret"), std::string::npos);
    struct stat status = {};
    ASSERT_EQ(::stat((root() + "/etc/keepsafe.toml").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(RootProgram, InitRefusesOptionsThatDoNotGoTogether)
{
    const std::string connection = file("connection", "Driver=SQLite3;");
    EXPECT_EQ(run({"init", "--database", "a", "--database-file", connection}).exitStatus, 2);
    EXPECT_EQ(run({"init", "--on-connect", "SELECT 1"}).errors,
              "ksrbac-sandbox: --on-connect: only together with --database or --database-file\n");
    EXPECT_EQ(run({"init", "--database-file", file("empty", "\n")}).errors,
              "ksrbac-sandbox: the connection string is empty\n");
    EXPECT_EQ(run({"init", "--database-file", dir_.path("none")}).errors,
              "ksrbac-sandbox: cannot read " + dir_.path("none") + ": No such file or directory\n");
    EXPECT_FALSE(fs::exists(root()));
}

TEST_F(RootProgram, InitEndsWith1WhenTheDatabaseCannotBeReached)
{
    const ProgramResult result =
        run({"init", "--database", "Driver=SQLite3;Database=" + dir_.path("none/x.db") + ";Pwd=secret;"});

    EXPECT_EQ(result.exitStatus, 1);
    EXPECT_EQ(lastLine(result.errors), "ksrbac-sandbox: cannot connect to the database: database status "
                                       "2007002, the database cannot be reached or refuses\n");
    EXPECT_EQ(result.errors.find("secret"), std::string::npos) << result.errors;
}

TEST_F(RootProgram, IssuePrintsOneTokenOnOneLineAndStoresAnother)
{
    run({"init"});
    const ProgramResult issued =
        run({"token", "issue", "--subject", "operator1:corp:ldap", "--roles", "3,17", "--machine"});

    EXPECT_EQ(issued.exitStatus, 0);
    EXPECT_EQ(issued.errors, "");
    EXPECT_THAT(issued.output, testing::MatchesRegex("[A-Za-z0-9_-]+\\.[A-Za-z0-9_-]+\\.[A-Za-z0-9_-]+\n"));
    EXPECT_THAT(run({"token", "list"}).output,
                testing::ContainsRegex("^[{]\"exp\":[0-9]+,\"is_machine\":\"true\",\"roles\":[[]3,17[]],"
                                       "\"session\":\"[0-9a-f]+\",\"sub\":\"operator1:corp:ldap\"[}]\n$"));
}

TEST_F(RootProgram, IssueWorksForSeveralProcessesAtOnce)
{
    run({"init"});
    const std::vector<std::string> outcomes = atOnce({"token", "issue", "--subject", "a", "--roles", "3"});

    EXPECT_EQ(outcomes, std::vector<std::string>(AT_ONCE, "0 "));
    const std::string list = run({"token", "list"}).output;
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), AT_ONCE) << list;
}

TEST_F(RootProgram, IssueSaysWhatIsWrongWithARequest)
{
    run({"init"});
    EXPECT_EQ(issue("1,b", "8h").errors,
              "ksrbac-sandbox: --roles: item 2, \"b\", is not a role id of 32 bits\n");
    EXPECT_EQ(issue("1", "0h").errors, "ksrbac-sandbox: --lifetime: \"0h\" is not longer than zero\n");
    EXPECT_EQ(run({"token", "issue", "--subject", "", "--roles", "1"}).errors,
              "ksrbac-sandbox: the subject is empty\n");
    EXPECT_EQ(issue("1,b", "8h").exitStatus, 2);
    EXPECT_EQ(run({"token", "issue", "--roles", "1"}).exitStatus, 2);
    EXPECT_EQ(run({"token"}).exitStatus, 2);
    EXPECT_EQ(run({"token", "list"}).output, "");
}

TEST_F(RootProgram, CommandsNeedARootThatWasMade)
{
    fs::create_directories(root());
    const ProgramResult issued = issue("1", "8h");
    EXPECT_EQ(issued.errors, "ksrbac-sandbox: " + root() +
                                 "/var/sandbox/signing-key.pem is missing: run "
                                 "'ksrbac-sandbox init --root " +
                                 root() + "' first\n");
    EXPECT_EQ(issued.exitStatus, 2);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"token", "list"}, {"criteria", "list"}}) {
        const ProgramResult result = run(command);
        EXPECT_EQ(result.errors, "ksrbac-sandbox: " + root() +
                                     "/etc/keepsafe.toml is missing: run "
                                     "'ksrbac-sandbox init --root " +
                                     root() + "' first\n");
        EXPECT_EQ(result.exitStatus, 2);
    }
    EXPECT_TRUE(fs::is_empty(root()));
}

TEST_F(RootProgram, CommandsOtherThanInitAndCompileMakeNoRoot)
{
    const std::string policy = KEEPSAFE_EXAMPLE_POLICIES "/company.json";
    const std::string input = file("input", "{}");
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"generate", "--objects", "1", "--id", "x"},
          {"import", policy},
          {"serve"},
          {"token", "issue", "--subject", "a", "--roles", "1"},
          {"token", "revoke", input},
          {"token", "list"},
          {"criteria", "add", "--collection", "1", "--object-type", "VM", "--json", input},
          {"criteria", "list"}}) {
        const ProgramResult result = run(command);
        EXPECT_EQ(result.errors, "ksrbac-sandbox: the installation root " + root() +
                                     " is not there: run 'ksrbac-sandbox init --root " + root() + "' first\n")
            << command.front();
        EXPECT_EQ(result.exitStatus, 2) << command.front();
        EXPECT_FALSE(fs::exists(root())) << command.front();
    }
}

TEST_F(RootProgram, ARootIsAFolder)
{
    writeFile(root(), "a file");
    const ProgramResult result = run({"generate", "--objects", "1", "--id", "x"});
    EXPECT_EQ(result.errors,
              "ksrbac-sandbox: the installation root " + root() + " cannot be used: Not a directory\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(RootProgram, RevokeRemovesATokenOnce)
{
    run({"init"});
    const std::string token = file("token", issue("1", "-1h").output);
    issue("2", "8h");

    const ProgramResult first = run({"token", "revoke", token});
    const ProgramResult second = run({"token", "revoke", token});

    EXPECT_THAT(first.output, testing::MatchesRegex("revoked \"[0-9a-f]+\"\n"));
    EXPECT_EQ(second.output, "nothing was stored for " + first.output.substr(8));
    EXPECT_EQ(first.exitStatus, 0);
    EXPECT_EQ(second.exitStatus, 0);
    EXPECT_THAT(run({"token", "list"}).output, HasSubstr("\"roles\":[2]"));
}

TEST_F(RootProgram, RevokeRefusesWhatIsNoToken)
{
    run({"init"});
    const ProgramResult result = run({"token", "revoke", file("token", "none")});
    EXPECT_EQ(lastLine(result.errors), "ksrbac-sandbox: the input is not a token\n");
    EXPECT_EQ(result.exitStatus, 2);
    const ProgramResult tooLong = run({"token", "revoke", file("token", std::string(65537, 'a'))});
    EXPECT_EQ(tooLong.errors, "ksrbac-sandbox: " + dir_.path("token") + " has more than 65536 bytes\n");
}

TEST_F(RootProgram, CriteriaAreAddedAndListed)
{
    run({"init"});
    const auto add = [this](const std::string& json) {
        return run({"criteria", "add", "--collection", "42", "--object-type", "VM", "--json",
                    file("criteria.json", json)});
    };
    EXPECT_EQ(add("{\"a\": 1}\n").output, "added criteria of 8 bytes to the collection 42 for \"VM\"\n");
    EXPECT_EQ(add("{").errors, "ksrbac-sandbox: the criteria document is not JSON: line 1, column 1: string "
                               "or '}' expected near end of file\n");
    EXPECT_EQ(add("{").exitStatus, 2);
    EXPECT_EQ(run({"criteria", "list"}).output, "criteria 1, collection 42, \"VM\": \"{\\\"a\\\": 1}\"\n");
}

TEST_F(RootProgram, ShowsAnExampleWithTheHelpOfEveryCommand)
{
    for (const std::vector<std::string>& command : {std::vector<std::string>{"init"},
                                                    {"token"},
                                                    {"token", "issue"},
                                                    {"token", "revoke"},
                                                    {"token", "list"},
                                                    {"criteria"},
                                                    {"criteria", "add"},
                                                    {"criteria", "list"}}) {
        std::vector<std::string> arguments = command;
        arguments.insert(arguments.begin(), KEEPSAFE_SANDBOX_PROGRAM);
        arguments.emplace_back("--help");
        const ProgramResult result = runProgram(arguments);
        EXPECT_EQ(result.exitStatus, 0);
        EXPECT_THAT(result.output, HasSubstr("Example:\n  "));
    }
}

} // namespace
} // namespace keepsafe_test
