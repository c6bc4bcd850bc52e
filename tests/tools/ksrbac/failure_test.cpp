#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MasterServerTest.h"
#include "StringSink.h"
#include "exit_status.h"
#include "io/Console.h"
#include "support/TempDir.h"
#include "support/thrown.h"
#include "token/token_status.h"

// How scripts tell failures apart.

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;
using ksrbac::Failure;
using ksrbac::FailureKind;
using testing::HasSubstr;
using testing::StartsWith;

constexpr auto STATUS_3 = ExitStatus::LibraryFailed;

TEST(ExitStatus, TellsMoreWithDetails)
{
    const auto statuses = [](FailureKind kind) {
        const Failure failure{kind, "why"};
        return std::vector{exitStatusOf(failure, false), exitStatusOf(failure, true)};
    };
    using Both = std::vector<ExitStatus>;
    EXPECT_EQ(statuses(FailureKind::NotFound), (Both{STATUS_3, ExitStatus::NotFound}));
    EXPECT_EQ(statuses(FailureKind::Refused), (Both{STATUS_3, ExitStatus::Refused}));
    EXPECT_EQ(statuses(FailureKind::Unreachable), (Both{STATUS_3, ExitStatus::Unreachable}));
    EXPECT_EQ(statuses(FailureKind::Cache), (Both{STATUS_3, ExitStatus::CacheUnusable}));
    for (const auto kind :
         {FailureKind::Token, FailureKind::Database, FailureKind::Configuration, FailureKind::Failure}) {
        EXPECT_EQ(statuses(kind), (Both{STATUS_3, STATUS_3}));
    }
    EXPECT_EQ(statuses(FailureKind::Output), (Both{ExitStatus::OutputFailed, ExitStatus::OutputFailed}));
}

TEST(ExitStatus, OfAnInputIsTheSameWithDetails)
{
    const ksrbac::InputError error("cannot read the cache", FailureKind::Cache);
    EXPECT_EQ(exitStatusOf(error.failure(), true), ExitStatus::BadInput);
}

TEST(JsonMessages, AreOneObjectALine)
{
    StringSink results;
    StringSink messages;
    ksrbac::Console console(results, messages);
    console.useJson();
    console.note("a\nb");
    console.complain("c");
    console.complainLine("d");
    console.fail({FailureKind::Refused, "e", 20, 409, "role get 9", "f"}, "role get", ExitStatus::Refused);
    console.fail({FailureKind::Failure, "g"}, "check", STATUS_3);
    EXPECT_EQ(
        messages.text,
        "{\"note\":\"a\\u000ab\"}\n{\"warning\":\"c\"}\n{\"warning\":\"d\"}\n"
        "{\"error\":{\"command\":\"role get 9\",\"kind\":\"refused\",\"exitStatus\":6,\"status\":20,"
        "\"httpStatus\":409,\"message\":\"e\",\"hint\":\"f\"}}\n"
        "{\"error\":{\"command\":\"check\",\"kind\":\"failure\",\"exitStatus\":3,\"message\":\"g\"}}\n");
}

TEST(TextMessages, AreOneLineEach)
{
    StringSink results;
    StringSink messages;
    ksrbac::Console console(results, messages);
    console.note("a\nb");
    console.fail({FailureKind::Refused, "e\x1B[2J", 20, 409, "role get 9", "f"}, "", ExitStatus::Refused);
    EXPECT_EQ(messages.text, "ksrbac: note: a\\x0Ab\nksrbac: role get 9: e\\x1B[2J\nf\n");
}

/// What one run in a root of its own prints as its only message.
std::string errorOf(const std::vector<std::string>& arguments, ExitStatus status)
{
    const TempRoot root;
    writeFile(root.path("etc/keepsafe.toml"), "[log]\ndestination = \"file:" + root.path("log") + "\"\n");
    std::vector<std::string> all{"--root", root.path()};
    all.insert(all.end(), arguments.begin(), arguments.end());
    const ProgramRun run = runProgram(all);
    EXPECT_EQ(run.status, status) << run.messages;
    EXPECT_EQ(run.results, "");
    EXPECT_EQ(run.messages.find('\n'), run.messages.size() - 1) << run.messages;
    return run.messages;
}

TEST(JsonError, OfUsageNamesTheCommandAsFarAsItIsUnderstood)
{
    EXPECT_THAT(
        errorOf({"role", "get", "--json"}, ExitStatus::BadInput),
        StartsWith(R"({"error":{"command":"role get","kind":"usage","exitStatus":2,"message":"ROLE )"));
    EXPECT_THAT(errorOf({"--json", "nothing"}, ExitStatus::BadInput),
                StartsWith(R"({"error":{"command":"","kind":"usage","exitStatus":2,)"));
    EXPECT_THAT(
        errorOf({"check", "--json", "--operation=|O|", "--roles=1"}, ExitStatus::BadInput),
        StartsWith(
            R"({"error":{"command":"check","kind":"usage","exitStatus":2,"message":"check: give obj)"));
}

TEST(JsonError, OfAnInputAndOfACache)
{
    EXPECT_THAT(
        errorOf({"token", "show", "/none", "--json"}, ExitStatus::BadInput),
        StartsWith(R"({"error":{"command":"token show","kind":"input","exitStatus":2,"message":"cannot )"));
    const std::vector<std::string> who{"who-can", "--json", "--cache=nosuch", "|O|", "|A|"};
    EXPECT_THAT(
        errorOf(who, STATUS_3),
        StartsWith(
            R"({"error":{"command":"who-can","kind":"cache","exitStatus":3,"status":12,"message":"status )"));
    auto detailed = who;
    detailed.emplace_back("--detailed-exit-status");
    EXPECT_THAT(errorOf(detailed, ExitStatus::CacheUnusable), HasSubstr(R"("exitStatus":8)"));
    EXPECT_THAT(errorOf({"cache", "info", "nosuch", "--json"}, ExitStatus::BadInput),
                StartsWith(R"({"error":{"command":"cache info","kind":"cache","exitStatus":2,)"));
    EXPECT_THAT(errorOf({"operations", "--json"}, STATUS_3),
                StartsWith(R"({"error":{"command":"operations","kind":"cache","exitStatus":3,"status":13,)"));
}

TEST(JsonError, OfATokenIsToldFromOneOfTheDatabase)
{
    const auto kindOf = [](int status) {
        return thrownBy<ksrbac::CommandFailure>([status] { ksrbac::requireTokenStatus(status, {}); })
            .failure()
            .kind;
    };
    EXPECT_EQ(kindOf(8001), FailureKind::Token);
    EXPECT_EQ(kindOf(117), FailureKind::Token);
    EXPECT_EQ(kindOf(220), FailureKind::Database);
    ksrbac::requireTokenStatus(0, {});
}

TEST(JsonError, OfADatabaseAndOfAConfigurationThatLacksTheServer)
{
    const TempDir folder;
    writeFile(folder.path("token"), "no.to.ken");
    EXPECT_THAT(
        errorOf({"token", "roles", "--json", folder.path("token")}, STATUS_3),
        StartsWith(R"({"error":{"command":"token roles","kind":"database","exitStatus":3,"status":220,)"));
    EXPECT_THAT(
        errorOf({"role", "list", "--json"}, STATUS_3),
        StartsWith(R"({"error":{"command":"role list","kind":"configuration","exitStatus":3,"status":114,)"));
}

class ServiceErrors : public MasterServerTest {
protected:
    [[nodiscard]] ProgramRun getRole(Play play, const std::vector<std::string>& more = {})
    {
        server_.playNext(std::move(play));
        std::vector<std::string> arguments{"role", "get", "99", "--detailed-exit-status"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run(arguments);
    }
};

TEST_F(ServiceErrors, AreToldApartByTheExitStatus)
{
    // First: on a connection that was used before, the request is sent again.
    EXPECT_EQ(getRole(bytesThenClose("")).status, ExitStatus::Unreachable);
    EXPECT_EQ(getRole(answer(404, R"({"errorCode":20,"errorMessage":"no"})")).status, ExitStatus::NotFound);
    EXPECT_EQ(getRole(answer(409, R"({"errorCode":20,"errorMessage":"no"})")).status, ExitStatus::Refused);
    EXPECT_EQ(getRole(answer(500, "<html>")).status, ExitStatus::Refused);
    EXPECT_EQ(getRole(answer(200, "{")).status, STATUS_3);
}

TEST_F(ServiceErrors, AreJsonWithBothStatuses)
{
    const ProgramRun run =
        getRole(answer(404, R"({"errorCode":20,"errorMessage":"no role 99"})"), {"--json"});
    EXPECT_EQ(run.messages,
              "{\"error\":{\"command\":\"role get 99\",\"kind\":\"not-found\",\"exitStatus\":5,\"status\":20,"
              "\"httpStatus\":404,\"message\":\"status 20: an argument has a value that is not allowed (HTTP "
              "status 404: no role 99)\"}}\n");
    EXPECT_EQ(run.results, "");
}

TEST_F(ServiceErrors, OfTheAccessCacheBeginWithTheCommand)
{
    server_.playNext(answer(404, R"({"errorCode":20,"errorMessage":"no cache"})"));
    const std::vector<std::string> who{"who-can", "|O|", "|A|", "--json"};
    EXPECT_THAT(
        run(who).messages,
        StartsWith(R"({"error":{"command":"who-can","kind":"not-found","exitStatus":3,"status":114,)"
                   R"("httpStatus":404,"message":"asking which access cache serves |: status 114: )"));
}

} // namespace
} // namespace keepsafe_test
