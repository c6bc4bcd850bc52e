#include <csignal>
#include <string>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sandbox/support/RunningService.h"
#include "support/Descriptor.h"
#include "support/Process.h"
#include "tools/ksrbac/default_signals.h"

// The whole road: the tool, the library, the service with its database, and the caches that it publishes.

namespace keepsafe_test {
namespace {

const std::string EXPIRE = "|OPERATIONS|EXPIRE_IMAGE|";
const std::string POOL = "|KEEPSAFE|STORAGE|pools|disk-01|";
constexpr char REFUSED[] = "status 20: an argument has a value that is not allowed (HTTP status ";

class ToolWithService : public testing::Test {
protected:
    /// The result of a command that succeeds without a message.
    [[nodiscard]] std::string done(const std::vector<std::string>& arguments) const
    {
        const ProgramResult result = root_.tool(arguments);
        EXPECT_EQ(result.errors, "");
        EXPECT_EQ(result.exitStatus, 0);
        return result.output;
    }

    /// The message of a command that ends with 3, without "ksrbac: " and the line feed.
    [[nodiscard]] std::string failure(const std::vector<std::string>& arguments) const
    {
        const ProgramResult result = root_.tool(arguments);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 3);
        return result.errors.empty() ? "" : result.errors.substr(8, result.errors.size() - 9);
    }

    /// "allow" or "deny", by the service's cache, for the roles of a caller.
    [[nodiscard]] std::string decision(const std::vector<std::string>& caller,
                                       const std::string& object) const
    {
        std::vector<std::string> arguments{"check", "--operation", EXPIRE, object};
        arguments.insert(arguments.end(), caller.begin(), caller.end());
        const ProgramResult result = root_.tool(arguments);
        EXPECT_EQ(result.errors, "");
        return result.output.substr(0, result.output.find('\t'));
    }
    [[nodiscard]] std::string decision(const std::string& object) const
    {
        return decision({"--roles=17"}, object);
    }

    RunningService root_{KEEPSAFE_EXAMPLE_POLICIES "/company.json"};
};

TEST_F(ToolWithService, KeepsRolesAndGivesThemOutAgain)
{
    EXPECT_EQ(done({"role", "create", "Tape operator", "--description", "Mounts media"}),
              "ID  NAME           SYSTEM  DESCRIPTION\n51  Tape operator  no      Mounts media\n");
    EXPECT_EQ(
        done({"role", "list", "--json", "--filter", "contains(name,'operator')"}),
        "{\"id\":11,\"name\":\"Backup operator\",\"description\":\"\",\"systemDefined\":false}\n"
        "{\"id\":17,\"name\":\"Restore operator\",\"description\":\"\",\"systemDefined\":false}\n"
        "{\"id\":51,\"name\":\"Tape operator\",\"description\":\"Mounts media\",\"systemDefined\":false}\n");
    EXPECT_EQ(done({"role", "update", "51", "--name", "Tape operators"}), "");
    EXPECT_EQ(done({"role", "get", "51"}),
              "ID  NAME            SYSTEM  DESCRIPTION\n51  Tape operators  no      Mounts media\n");
    EXPECT_EQ(done({"role", "update", "51", "--description="}), "");
    EXPECT_EQ(done({"role", "get", "51"}),
              "ID  NAME            SYSTEM  DESCRIPTION\n51  Tape operators  no\n");
    EXPECT_EQ(done({"role", "delete", "51"}), "");
    EXPECT_EQ(failure({"role", "get", "51"}),
              std::string("role get 51: ") + REFUSED + "404: there is no role 51)");
}

TEST_F(ToolWithService, KnowsRolesByTheirNames)
{
    EXPECT_EQ(done({"role", "get", "Auditor", "--json"}),
              "{\"id\":31,\"name\":\"Auditor\",\"description\":\"\",\"systemDefined\":false}\n");
    EXPECT_EQ(done({"what-can", "--roles=Restore operator", "|KEEPSAFE|ASSETS|shares|public|"}),
              done({"what-can", "--roles=17", "|KEEPSAFE|ASSETS|shares|public|"}));
    EXPECT_EQ(done({"complete", "bash", "--", "ksrbac --root " + root_.path() + " role get Res"}),
              "words\n'Restore operator'\n");
}

TEST_F(ToolWithService, AGrantChangesTheNextDecisionAndItsEndTheOneAfter)
{
    EXPECT_EQ(decision(POOL), "deny");
    EXPECT_EQ(done({"access", "add", "|KEEPSAFE|STORAGE|", "--role=17", "--operations=" + EXPIRE,
                    "--propagation=CHILDREN", "--json"}),
              "{\"id\":\"33\",\"object\":\"|KEEPSAFE|STORAGE|\",\"roleId\":17,\"roleName\":"
              "\"Restore operator\",\"propagation\":\"CHILDREN\","
              "\"operations\":[\"" +
                  EXPIRE + "\"]}\n");
    EXPECT_EQ(decision(POOL), "allow");
    EXPECT_EQ(done({"access", "delete", "|KEEPSAFE|STORAGE|", "33"}), "");
    EXPECT_EQ(decision(POOL), "deny");
}

TEST_F(ToolWithService, AGrantWithoutAPropagationHoldsOnTheObjectAlone)
{
    (void)done({"access", "add", "|KEEPSAFE|STORAGE|pools|", "--role=17", "--operations=" + EXPIRE});
    EXPECT_EQ(decision("|KEEPSAFE|STORAGE|pools|"), "allow");
    EXPECT_EQ(decision(POOL), "deny");
}

TEST_F(ToolWithService, DecidesForTheOwnerOfASessionToken)
{
    writeFile(root_.path("token"), root_.issue("17"));
    const std::vector<std::string> caller{"--session-token-file", root_.path("token")};
    EXPECT_EQ(decision(caller, POOL), "deny");
    (void)done({"access", "add", POOL, "--role=17", "--operations=" + EXPIRE});
    EXPECT_EQ(decision(caller, POOL), "allow");
    writeFile(root_.path("token"), root_.issue("31"));
    EXPECT_EQ(decision(caller, POOL), "deny");
}

TEST_F(ToolWithService, QuestionsHaveTheSameAnswersForTheOwnerOfATokenAsForItsRoles)
{
    writeFile(root_.path("token"), root_.issue("17"));
    writeFile(root_.path("objects"), "|KEEPSAFE|ASSETS|vms|web-01|\n|KEEPSAFE|ASSETS|shares|public|\n");
    const std::vector<std::vector<std::string>> questions{
        {"list", "--operation=|OPERATIONS|RESTORE|", "--under=|KEEPSAFE|ASSETS|"},
        {"list", "--operation=|OPERATIONS|RESTORE|", "--count"},
        {"what-can", "|KEEPSAFE|ASSETS|shares|public|"},
        {"what-can", "--under=|"},
        {"check", "--operation=|OPERATIONS|RESTORE|", "--objects-from=" + root_.path("objects")},
        {"check", "--operation=|OPERATIONS|RESTORE|", "--explain", "|KEEPSAFE|ASSETS|vms|web-01|"}};
    for (std::vector<std::string> byRoles : questions) {
        std::vector<std::string> byToken = byRoles;
        byRoles.emplace_back("--roles=17");
        byToken.emplace_back("--session-token-file=" + root_.path("token"));
        const std::string answer = done(byToken);
        EXPECT_NE(answer, "");
        EXPECT_EQ(answer, done(byRoles));
    }
}

TEST_F(ToolWithService, WhoCanNamesTheRolesWhoseTokensAreAllowed)
{
    const std::string object = "|KEEPSAFE|ASSETS|vms|web-01|";
    (void)done({"access", "add", object, "--role=40", "--operations=" + EXPIRE});
    EXPECT_EQ(done({"who-can", EXPIRE, object}), "40\tHelpdesk\n");
    for (const std::string role : {"10", "17", "40"}) {
        writeFile(root_.path("token"), root_.issue(role));
        EXPECT_EQ(decision({"--session-token-file", root_.path("token")}, object),
                  role == "40" ? "allow" : "deny")
            << role;
    }
}

TEST_F(ToolWithService, InheritanceDecidesWhetherGrantsFromAboveReachAnObject)
{
    (void)done({"access", "add", "|KEEPSAFE|STORAGE|", "--role=17", "--operations=" + EXPIRE,
                "--propagation=OBJECT_AND_CHILDREN"});
    EXPECT_EQ(decision(POOL), "allow");
    EXPECT_EQ(done({"object", "set-inherit", POOL, "off"}), "");
    EXPECT_EQ(decision(POOL), "deny");
    EXPECT_EQ(done({"object", "get", POOL, "--json"}),
              "{\"object\":\"" + POOL + "\",\"inherit\":false,\"state\":\"READY\"}\n");
    EXPECT_EQ(done({"object", "set-inherit", POOL, "on"}), "");
    EXPECT_EQ(decision(POOL), "allow");
}

TEST_F(ToolWithService, KnowsTheOperationsOfThePolicy)
{
    EXPECT_EQ(done({"operation", "list", "--filter", "startswith(id,'|OPERATIONS|VIEW')"}),
              "OPERATION\n|OPERATIONS|VIEW|\n|OPERATIONS|VIEW_AUDIT|\n|OPERATIONS|VIEW_JOBS|\n");
}

TEST_F(ToolWithService, SaysWhyItRefuses)
{
    const std::string refused = REFUSED;
    EXPECT_EQ(failure({"role", "create", "Auditor"}).substr(0, 13 + refused.size() + 3),
              "role create: " + refused + "409");
    EXPECT_EQ(failure({"role", "delete", "0"}).substr(0, 15 + refused.size() + 3),
              "role delete 0: " + refused + "409");
    EXPECT_EQ(failure({"object", "get", "|NONE|"}),
              "object get |NONE|: " + refused + "404: there is no object |NONE|)");
    EXPECT_EQ(failure({"access", "delete", POOL, "4711"}), "access delete " + POOL + " 4711: " + refused +
                                                               "404: object " + POOL +
                                                               " has no access definition \"4711\")");
}

TEST_F(ToolWithService, ThatIsStoppedAllowsNothingAndCanBeAskedAgainWhenItIsBack)
{
    EXPECT_EQ(root_.stop(), 0);
    const std::string gone = "transfer status 7: the server cannot be reached (GET https://" +
                             root_.address() + ":1556/ failed with status 7: ";
    EXPECT_EQ(failure({"role", "list"}).substr(0, 11 + gone.size()), "role list: " + gone);
    const std::string check = "check: asking which access cache serves |: ";
    EXPECT_EQ(
        failure({"check", "--operation", EXPIRE, "--roles=0", POOL}).substr(0, check.size() + gone.size()),
        check + gone);
    root_.start();
    EXPECT_EQ(decision(POOL), "deny");
}

TEST_F(ToolWithService, AnAnswerThatCannotBeShownIsToldAndTheChangeIsMade)
{
    const Descriptor full = openFile("/dev/full", O_WRONLY);
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    Process program = Process::start({{KSRBAC_BINARY, "--root", root_.path(), "role", "create", "Unseen"},
                                      Command::INHERITED,
                                      full.get(),
                                      errors.get()});
    EXPECT_EQ(program.wait().exitStatus, 4);
    EXPECT_EQ(readFile(root_.path("errors")),
              "ksrbac: cannot write standard output: No space left on device\n");
    EXPECT_EQ(done({"role", "list", "--filter=name eq 'Unseen'"}),
              "ID  NAME    SYSTEM  DESCRIPTION\n51  Unseen  no\n");
}

/// A socket that accepts connections for the master server and says nothing.
Descriptor listenSilently(const std::string& address)
{
    constexpr int port = 1556;
    Descriptor listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    EXPECT_EQ(setsockopt(listener.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), 0);
    sockaddr_in place = {};
    place.sin_family = AF_INET;
    place.sin_port = htons(port);
    EXPECT_EQ(inet_pton(AF_INET, address.c_str(), &place.sin_addr), 1);
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&place), sizeof place), 0);
    EXPECT_EQ(listen(listener.get(), 1), 0);
    return listener;
}

TEST_F(ToolWithService, ASignalEndsACommandThatWaitsForIt)
{
    useDefaultSignals();
    ASSERT_EQ(root_.stop(), 0);
    const auto listener = listenSilently(root_.address());
    Process program = Process::start({{KSRBAC_BINARY, "--root", root_.path(), "role", "list"}});
    const Descriptor connection(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait().signal, SIGINT);
}

} // namespace
} // namespace keepsafe_test
