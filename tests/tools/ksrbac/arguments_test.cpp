#include <string>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "cli/arguments.h"
#include "cli/cache_location.h"
#include "cli/command_line.h"
#include "commands/commands.h"
#include "exit_status.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using ksrbac::InputError;
using ksrbac::Invocation;
using ksrbac::locateCache;

template <typename Call>
std::string messageOf(const Call& call)
{
    return thrownBy<InputError>(call).what();
}

TEST(CacheLocation, AnArgumentWithASlashIsADirectory)
{
    EXPECT_EQ(locateCache("/a/b").directory, "/a/b");
    EXPECT_EQ(locateCache("/a/b").id, "b");
    EXPECT_EQ(locateCache("./b/").directory, "./b");
    EXPECT_EQ(locateCache("../b//").id, "b");
    EXPECT_EQ(locateCache("/").directory, "/");
}

TEST(CacheLocation, AnArgumentWithoutASlashIsAnIdUnderTheInstallationRoot)
{
    const TempRoot root;
    EXPECT_EQ(locateCache("main").directory, root.path("wmc/webserver/temp/access-caches/main"));
    EXPECT_EQ(locateCache("main").id, "main");
    EXPECT_EQ(locateCache("..main").id, "..main");
}

TEST(CacheLocation, AnIdThatCannotNameADirectoryIsRefused)
{
    for (const char* id : {"", ".", "..", "a\\b"}) {
        EXPECT_THROW(locateCache(id), InputError) << id;
    }
    EXPECT_EQ(messageOf([] { locateCache(".."); }),
              R"(".." is not the id of an access cache; a directory needs a slash, as in ./NAME)");
}

Invocation parse(const std::vector<std::string>& arguments)
{
    return ksrbac::parseCommandLine(arguments, ksrbac::commandTable());
}

/// What is wrong with the input of the command, which nothing is configured for.
std::string complaintOf(const std::vector<std::string>& arguments)
{
    return messageOf([&] {
        StringSink sink;
        ksrbac::Console console(sink, sink);
        const Invocation invocation = parse(arguments);
        (void)invocation.action.run(invocation.global.json, console);
    });
}

TEST(CommandLine, GlobalOptionsAreTakenBeforeAndAfterTheCommand)
{
    for (const auto& arguments :
         {std::vector<std::string>{"--root", "/r", "--json", "--log-level", "4", "cache", "info", ".."},
          {"cache", "--root=/r", "info", "--json", "..", "--log-level=4"},
          {"cache", "info", "..", "--root", "/r", "--json", "--log-level", "4"}}) {
        const Invocation invocation = parse(arguments);
        EXPECT_EQ(invocation.global.root, "/r");
        EXPECT_TRUE(invocation.global.json);
        EXPECT_EQ(invocation.global.logLevel, 4);
        EXPECT_EQ(complaintOf(arguments).substr(0, 10), "\"..\" is no");
    }
}

TEST(CommandLine, WithoutGlobalOptionsNothingIsDecidedForThem)
{
    const Invocation invocation = parse({"operations"});
    EXPECT_FALSE(invocation.global.root.has_value());
    EXPECT_FALSE(invocation.global.logLevel.has_value());
    EXPECT_FALSE(invocation.global.json);
    EXPECT_EQ(invocation.programText, "");
}

TEST(CommandLine, TokensAreNamedByTheFileThatHoldsThem)
{
    for (const std::vector<std::string>& command :
         std::vector<std::vector<std::string>>{{"token", "verify"},
                                               {"token", "show"},
                                               {"token", "roles"},
                                               {"check", "--operation=|O|", "|A|", "--session-token-file"}}) {
        std::vector<std::string> arguments = command;
        arguments.emplace_back("/none/token");
        EXPECT_EQ(complaintOf(arguments), "cannot read /none/token: No such file or directory");
    }
}

TEST(CommandLine, NegativeRolesAreGivenWithAnEqualsSign)
{
    EXPECT_EQ(complaintOf({"check", "--operation=O", "--roles=-5,3", "|A|"}),
              "--operation: not a namespace: \"O\": it does not start with '|'");
    EXPECT_EQ(complaintOf({"check", "--operation=|O|", "--roles=-5,", "|A|"}),
              "--roles: item 2, \"\", is neither the id nor the name of a role");
}

/// Decides with enforcement off, so that everything that is a namespace is allowed.
ProgramRun checkWith(std::vector<std::string> arguments)
{
    const TempRoot root;
    arguments.insert(arguments.begin(), {"--root", root.path(), "check", "--operation=|O|"});
    return runProgram(arguments);
}

TEST(CommandLine, AnEmptyRoleListDoesNotSwallowTheNextArgument)
{
    EXPECT_EQ(checkWith({"--roles=", "|A|"}).results, "allow\t|A|\n");
}

TEST(CommandLine, ObjectsKeepTheirOrderAndMayFollowADoubleDash)
{
    const auto result = checkWith({"|B|", "|A|", "--roles", "1", "--", "--json=", "|C|", "-x"});
    EXPECT_EQ(result.results, "allow\t|B|\nallow\t|A|\nallow\t|C|\n");
    EXPECT_NE(
        result.messages.find("\nOBJECT 3: not an object namespace: \"--json=\": it does not start with '|'\n"
                             "OBJECT 5: not an object namespace: \"-x\": it does not start with '|'\n"),
        std::string::npos)
        << result.messages;
}

TEST(CommandLine, ADoubleDashEndsTheOptionsOfOtherCommandsToo)
{
    EXPECT_EQ(complaintOf({"cache", "info", "--", "-x\\"}),
              R"("-x\\" is not the id of an access cache; a directory needs a slash, as in ./NAME)");
}

TEST(CommandLine, ARepeatedOptionTakesOneValueEachTime)
{
    EXPECT_EQ(complaintOf({"object", "register", "--type=x", "--grant", "17:|O|", "--child", "|b|", "A"}),
              "NS: not a namespace: \"A\": it does not start with '|'");
}

TEST(CommandLine, UsageErrorsNameWhatIsWrong)
{
    const auto message = [](const std::vector<std::string>& arguments) {
        const std::string text = messageOf([&] { parse(arguments); });
        return text.substr(0, text.find('\n'));
    };
    EXPECT_EQ(message({}), "A subcommand is required");
    EXPECT_EQ(message({"cache"}), "A subcommand is required");
    EXPECT_EQ(message({"cache", "info"}), "CACHE is required");
    EXPECT_EQ(message({"role"}), "A subcommand is required");
    EXPECT_EQ(message({"role", "get"}), "ROLE is required");
    EXPECT_EQ(message({"role", "get", "1", "2"}), "unexpected argument \"2\"");
    EXPECT_EQ(message({"access", "add", "|A|", "--role=1"}), "--operations is required");
    EXPECT_EQ(message({"object", "set-inherit", "|A|"}), "INHERIT is required");
    EXPECT_EQ(message({"check", "--cache=c", "--roles=1"}), "--operation is required");
    EXPECT_EQ(message({"token", "verify"}), "FILE is required");
    EXPECT_EQ(message({"operations", "--log-level", "high"}), "Could not convert: --log-level = high");
    EXPECT_EQ(message({"operations", "--colour"}), "unknown option \"--colour\"; did you mean --color?");
    EXPECT_EQ(message({"operations", "extra"}), "unexpected argument \"extra\"");
}

TEST(CommandLine, HelpIsThatOfTheCommandNamed)
{
    const auto help = [](const std::vector<std::string>& arguments) {
        const std::string text = parse(arguments).programText;
        return text.substr(0, text.find('\n'));
    };
    EXPECT_EQ(help({"--help"}), "Usage: ksrbac [OPTION]... COMMAND");
    EXPECT_EQ(help({"check", "-h"}), "Usage: ksrbac check [OPTION]... --operation OPERATION [OBJECT...]");
    EXPECT_EQ(help({"cache", "--help"}), "Usage: ksrbac cache [OPTION]... COMMAND");
    EXPECT_EQ(help({"cache", "verify", "--help"}), "Usage: ksrbac cache verify [OPTION]... CACHE");
    EXPECT_EQ(help({"operations", "--help"}), "Usage: ksrbac operations [OPTION]...");
    EXPECT_EQ(help({"access", "add", "--help"}),
              "Usage: ksrbac access add [OPTION]... NS --role ROLE --operations OPERATION,...");
    EXPECT_EQ(help({"token", "show", "--help"}), "Usage: ksrbac token show [OPTION]... FILE");
}

} // namespace
} // namespace keepsafe_test
