#include <climits>
#include <functional>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "cli/cache_location.h"
#include "cli/command_line.h"
#include "cli/role_ids.h"
#include "exit_status.h"
#include "support/TempDir.h"

namespace {

using ksrbac::InputError;
using ksrbac::locateCache;
using ksrbac::parseCommandLine;
using ksrbac::parseRoleIds;

std::string messageOf(const std::function<void()>& call)
{
    try {
        call();
    } catch (const InputError& error) {
        return error.what();
    }
    return "no error";
}

TEST(RoleIds, AreNumbersWithCommasBetweenThem)
{
    EXPECT_EQ(parseRoleIds("17,3"), (std::set<int>{3, 17}));
    EXPECT_EQ(parseRoleIds("-5,3,0"), (std::set<int>{-5, 0, 3}));
    EXPECT_EQ(parseRoleIds("2147483647,-2147483648"), (std::set<int>{INT_MAX, INT_MIN}));
}

TEST(RoleIds, AnEmptyListIsNoRole) { EXPECT_TRUE(parseRoleIds("").empty()); }

TEST(RoleIds, AreASet) { EXPECT_EQ(parseRoleIds("4,4,4"), (std::set<int>{4})); }

TEST(RoleIds, TheItemThatIsNoRoleIdIsNamed)
{
    const auto message = [](const char* list) { return messageOf([list] { parseRoleIds(list); }); };
    EXPECT_EQ(message("1,x"), R"(--roles: item 2, "x", is not a role id)");
    EXPECT_EQ(message("1,,2"), R"(--roles: item 2, "", is not a role id)");
    EXPECT_EQ(message("1,"), R"(--roles: item 2, "", is not a role id)");
    EXPECT_EQ(message(","), R"(--roles: item 1, "", is not a role id)");
    EXPECT_EQ(message(" 1"), R"(--roles: item 1, " 1", is not a role id)");
    EXPECT_EQ(message("+1"), R"(--roles: item 1, "+1", is not a role id)");
    EXPECT_EQ(message("1.5"), R"(--roles: item 1, "1.5", is not a role id)");
    EXPECT_EQ(message("-"), R"(--roles: item 1, "-", is not a role id)");
    EXPECT_EQ(message("3,2147483648"), R"(--roles: item 2, "2147483648", does not fit 32 bits)");
    EXPECT_EQ(message("-2147483649"), R"(--roles: item 1, "-2147483649", does not fit 32 bits)");
    EXPECT_EQ(message("99999999999999999999x"),
              R"(--roles: item 1, "99999999999999999999x", is not a role id)");
    EXPECT_EQ(message("1\x1B[2J"), R"(--roles: item 1, "1\x1B[2J", is not a role id)");
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
    const keepsafe_test::TempRoot root;
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

const ksrbac::CheckOptions& checkOptions(const ksrbac::Invocation& invocation)
{
    return std::get<ksrbac::CheckOptions>(invocation.command);
}

TEST(CommandLine, GlobalOptionsAreTakenBeforeAndAfterTheCommand)
{
    for (const auto& arguments :
         {std::vector<std::string>{"--root", "/r", "--json", "--log-level", "4", "cache", "info", "main"},
          {"cache", "--root=/r", "info", "--json", "main", "--log-level=4"},
          {"cache", "info", "main", "--root", "/r", "--json", "--log-level", "4"}}) {
        const auto invocation = parseCommandLine(arguments);
        EXPECT_EQ(invocation.global.root, "/r");
        EXPECT_TRUE(invocation.global.json);
        EXPECT_EQ(invocation.global.logLevel, 4);
        EXPECT_EQ(std::get<ksrbac::CacheInfoOptions>(invocation.command).cache, "main");
    }
}

TEST(CommandLine, WithoutGlobalOptionsNothingIsDecidedForThem)
{
    const auto invocation = parseCommandLine({"operations"});
    EXPECT_FALSE(invocation.global.root.has_value());
    EXPECT_FALSE(invocation.global.logLevel.has_value());
    EXPECT_FALSE(invocation.global.json);
    EXPECT_TRUE(std::holds_alternative<ksrbac::OperationsOptions>(invocation.command));
}

TEST(CommandLine, RolesAndASessionTokenStayApart)
{
    const auto roles = parseCommandLine({"check", "--cache=c", "--operation=|O|", "--roles=", "|A|"});
    EXPECT_FALSE(checkOptions(roles).sessionTokenFile.has_value());
    const auto token =
        parseCommandLine({"check", "--cache=c", "--operation=|O|", "--session-token-file", "-", "|A|"});
    EXPECT_EQ(checkOptions(token).sessionTokenFile, "-");
    EXPECT_FALSE(checkOptions(token).roles.has_value());
}

TEST(CommandLine, TokensAreNamedByTheFileThatHoldsThem)
{
    using ksrbac::TokenRolesOptions;
    using ksrbac::TokenShowOptions;
    using ksrbac::TokenVerifyOptions;
    EXPECT_EQ(std::get<TokenVerifyOptions>(parseCommandLine({"token", "verify", "f"}).command).tokenFile,
              "f");
    EXPECT_EQ(std::get<TokenShowOptions>(parseCommandLine({"token", "show", "-"}).command).tokenFile, "-");
    EXPECT_EQ(std::get<TokenRolesOptions>(parseCommandLine({"token", "roles", "f"}).command).tokenFile, "f");
}

TEST(CommandLine, AnEmptyRoleListDoesNotSwallowTheNextArgument)
{
    const auto invocation = parseCommandLine({"check", "--cache=c", "--operation=|O|", "--roles=", "|A|"});
    EXPECT_EQ(checkOptions(invocation).roles, "");
    EXPECT_EQ(checkOptions(invocation).objects, std::vector<std::string>{"|A|"});
}

TEST(CommandLine, NegativeRolesAreGivenWithAnEqualsSign)
{
    const auto invocation =
        parseCommandLine({"check", "--cache=c", "--operation=|O|", "--roles=-5,3", "|A|"});
    EXPECT_EQ(checkOptions(invocation).roles, "-5,3");
}

TEST(CommandLine, ObjectsKeepTheirOrderAndMayFollowADoubleDash)
{
    const auto invocation = parseCommandLine(
        {"check", "--cache", "c", "|B|", "--operation", "|O|", "|A|", "--roles", "1", "--", "--json=", "-x"});
    EXPECT_EQ(checkOptions(invocation).objects, (std::vector<std::string>{"|B|", "|A|", "--json=", "-x"}));
    EXPECT_FALSE(invocation.global.json);
}

TEST(CommandLine, ADoubleDashEndsTheOptionsOfOtherCommandsToo)
{
    const auto invocation = parseCommandLine({"cache", "info", "--", "-x"});
    EXPECT_EQ(std::get<ksrbac::CacheInfoOptions>(invocation.command).cache, "-x");
}

TEST(CommandLine, WhatFollowsADoubleDashBelongsToTheProgramOfExec)
{
    const auto invocation =
        parseCommandLine({"object", "register", "|A|", "--type=x", "--child=|b|", "--child", "|c|", "--exec",
                          "run", "--json", "--", "--json", "-x", "--", "y"});
    const auto& options =
        std::get<ksrbac::ObjectRegisterOptions>(std::get<ksrbac::ServiceCommand>(invocation.command));
    EXPECT_EQ(options.object, "|A|");
    EXPECT_EQ(options.children, (std::vector<std::string>{"|b|", "|c|"}));
    EXPECT_EQ(options.exec.program, "run");
    EXPECT_EQ(options.exec.arguments, (std::vector<std::string>{"--json", "-x", "--", "y"}));
    EXPECT_TRUE(invocation.global.json);
}

TEST(CommandLine, ARepeatedOptionTakesOneValueEachTime)
{
    const auto invocation = parseCommandLine(
        {"object", "register", "--type=x", "--grant", "17:|O|", "--child", "|b|", "|A|", "--grant=3:|O|"});
    const auto& options =
        std::get<ksrbac::ObjectRegisterOptions>(std::get<ksrbac::ServiceCommand>(invocation.command));
    EXPECT_EQ(options.object, "|A|");
    EXPECT_EQ(options.children, std::vector<std::string>{"|b|"});
    EXPECT_EQ(options.grants, (std::vector<std::string>{"17:|O|", "3:|O|"}));
}

TEST(CommandLine, UsageErrorsNameWhatIsWrong)
{
    const auto message = [](const std::vector<std::string>& arguments) {
        const std::string text = messageOf([&] { parseCommandLine(arguments); });
        return text.substr(0, text.find('\n'));
    };
    EXPECT_EQ(message({}), "A subcommand is required");
    EXPECT_EQ(message({"cache"}), "A subcommand is required");
    EXPECT_EQ(message({"cache", "info"}), "CACHE is required");
    EXPECT_EQ(message({"role"}), "A subcommand is required");
    EXPECT_EQ(message({"role", "get"}), "ID is required");
    EXPECT_EQ(message({"role", "get", "1", "2"}), "The following argument was not expected: 2");
    EXPECT_EQ(message({"access", "add", "|A|", "--role=1"}), "--operations is required");
    EXPECT_EQ(message({"object", "set-inherit", "|A|"}), "INHERIT is required");
    EXPECT_EQ(message({"check", "--cache=c", "--roles=1"}), "--operation is required");
    EXPECT_EQ(message({"token", "verify"}), "FILE is required");
    EXPECT_EQ(message({"operations", "--log-level", "high"}), "Could not convert: --log-level = high");
    EXPECT_EQ(message({"operations", "--colour"}), "The following argument was not expected: --colour");
    EXPECT_EQ(message({"operations", "extra"}), "The following argument was not expected: extra");
}

TEST(CommandLine, HelpIsThatOfTheCommandNamed)
{
    const auto help = [](const std::vector<std::string>& arguments) {
        const std::string text = std::get<ksrbac::ProgramText>(parseCommandLine(arguments).command).text;
        return text.substr(0, text.find('\n'));
    };
    EXPECT_EQ(help({"--help"}), "Usage: ksrbac [OPTION]... COMMAND");
    EXPECT_EQ(help({"check", "-h"}), "Usage: ksrbac check [OPTION]... --operation NS [OBJECT...]");
    EXPECT_EQ(help({"cache", "--help"}), "Usage: ksrbac cache [OPTION]... COMMAND");
    EXPECT_EQ(help({"cache", "verify", "--help"}), "Usage: ksrbac cache verify [OPTION]... CACHE");
    EXPECT_EQ(help({"operations", "--help"}), "Usage: ksrbac operations [OPTION]...");
    EXPECT_EQ(help({"access", "add", "--help"}),
              "Usage: ksrbac access add [OPTION]... NS --role ID --operations NS,...");
    EXPECT_EQ(help({"token", "show", "--help"}), "Usage: ksrbac token show [OPTION]... FILE");
}

} // namespace
