#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

#include "KsrbacTest.h"

namespace keepsafe_test {
namespace {

std::string statusLine(int status)
{
    return "ksrbac: status " + std::to_string(status) + ": " + getECmsg(status) + '\n';
}

class Check : public KsrbacTest {};

TEST_F(Check, AnswersInOrderAndTellsDenialsByItsExitStatus)
{
    const auto result = check("17", {"|KEEPSAFE|X|", "|KEEPSAFE|", "|OTHER|", "|KEEPSAFE|X|Y|"});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\ndeny\t|KEEPSAFE|\ndeny\t|OTHER|\nallow\t|KEEPSAFE|X|Y|\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 1);
}

TEST_F(Check, EndsWithZeroWhenAllAreAllowed)
{
    const auto result = check("17", {"|KEEPSAFE|X|", "|KEEPSAFE|Y|"});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\nallow\t|KEEPSAFE|Y|\n");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(Check, TakesNegativeRolesAndSeveral)
{
    EXPECT_EQ(check("17", {"|KEEPSAFE|CLOSED|"}).output, "deny\t|KEEPSAFE|CLOSED|\n");
    EXPECT_EQ(check("-5", {"|KEEPSAFE|CLOSED|"}).output, "allow\t|KEEPSAFE|CLOSED|\n");
    EXPECT_EQ(check("3,-5,17", {"|KEEPSAFE|CLOSED|", "|KEEPSAFE|X|"}).exitStatus, 0);
}

TEST_F(Check, NoRoleIsAllowedNothingAndRoleZeroEverything)
{
    EXPECT_EQ(check("", {"|KEEPSAFE|X|"}).output, "deny\t|KEEPSAFE|X|\n");
    EXPECT_EQ(check("0", {"|NOWHERE|"}).output, "allow\t|NOWHERE|\n");
}

TEST_F(Check, TheOperationDecidesWhichBitIsAsked)
{
    const auto result = run({"check", "--cache=main", "--operation=|OPERATIONS|ADD|", "--roles=17",
                             "|KEEPSAFE|", "|KEEPSAFE|X|"});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|\ndeny\t|KEEPSAFE|X|\n");
}

TEST_F(Check, PrintsJsonOneObjectPerLine)
{
    const auto result = check("17", {"--json", "|KEEPSAFE|%58|", "|KEEPSAFE|"});
    EXPECT_EQ(result.output,
              "{\"object\":\"|KEEPSAFE|X|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":true}\n"
              "{\"object\":\"|KEEPSAFE|\",\"operation\":\"|OPERATIONS|VIEW|\",\"allowed\":false}\n");
}

TEST_F(Check, TakesADirectoryInPlaceOfAnId)
{
    const auto result = run({"check", "--cache", cacheDirectory() + "/", "--operation", "|OPERATIONS|VIEW|",
                             "--roles", "17", "|KEEPSAFE|X|"});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\n");
}

TEST_F(Check, ReadsObjectsFromAFileAfterThoseOfTheCommandLine)
{
    const std::string list = root_.path("objects.txt");
    writeFile(list, "|KEEPSAFE|1|\n|KEEPSAFE|2|");
    EXPECT_EQ(check("17", {"--objects-from", list, "|KEEPSAFE|0|"}).output,
              "allow\t|KEEPSAFE|0|\nallow\t|KEEPSAFE|1|\nallow\t|KEEPSAFE|2|\n");
}

TEST_F(Check, NamesMalformedLinesAndAnswersTheOthers)
{
    const auto result =
        check("17", {"--objects-from=-"}, "|KEEPSAFE|1|\nbad\n\n|KEEPSAFE|2|\r\n\t\n|KEEPSAFE|3|\n");
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|1|\nallow\t|KEEPSAFE|3|\n");
    EXPECT_EQ(result.errors, "<stdin>:2: not an object namespace: \"bad\"\n"
                             "<stdin>:3: not an object namespace: \"\"\n"
                             "<stdin>:4: not an object namespace: \"|KEEPSAFE|2|\\x0D\"\n"
                             "<stdin>:5: not an object namespace: \"\\x09\"\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Check, AMalformedObjectOutranksADenial)
{
    const auto result = check("17", {"|OTHER|", "bad", "|OTHER|"});
    EXPECT_EQ(result.output, "deny\t|OTHER|\ndeny\t|OTHER|\n");
    EXPECT_EQ(result.errors, "OBJECT 2: not an object namespace: \"bad\"\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Check, AnEmptyListIsAllAllowed)
{
    const auto result = check("17", {"--objects-from=-"}, "");
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
}

TEST_F(Check, AnUnknownOperationIsNotedOnceAndDenied)
{
    const auto result = run({"check", "--cache=main", "--operation=|OPERATIONS|NO|", "--roles=0,17",
                             "|KEEPSAFE|X|", "|KEEPSAFE|Y|"});
    EXPECT_EQ(result.output, "deny\t|KEEPSAFE|X|\ndeny\t|KEEPSAFE|Y|\n");
    EXPECT_EQ(result.errors,
              "ksrbac: note: the operation cache does not know |OPERATIONS|NO|: it is denied everywhere\n");
    EXPECT_EQ(result.exitStatus, 1);
}

TEST_F(Check, UsageErrorsEndWithTwoBeforeAnythingIsAnswered)
{
    const auto expectUsageError = [this](const std::vector<std::string>& arguments,
                                         const std::string& message) {
        const auto result = run(arguments);
        EXPECT_EQ(result.errors.substr(0, result.errors.find('\n')), "ksrbac: " + message);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.exitStatus, 2);
    };
    const std::string cache = "--cache=main";
    const std::string operation = "--operation=|OPERATIONS|VIEW|";
    expectUsageError({}, "A subcommand is required");
    expectUsageError({"check", cache, operation, "--roles=1"},
                     "check: give objects as arguments or with --objects-from");
    expectUsageError({"check", cache, operation, "|A|"},
                     "check: give either --roles or --session-token-file");
    expectUsageError({"check", cache, operation, "--roles=1", "--session-token-file=-", "|A|"},
                     "check: give either --roles or --session-token-file");
    expectUsageError({"check", cache, operation, "--session-token-file=-", "--objects-from=-"},
                     "check: --session-token-file and --objects-from cannot both be standard input");
    expectUsageError({"check", cache, operation, "--roles=1,", "|A|"},
                     "--roles: item 2, \"\", is neither the id nor the name of a role");
    expectUsageError({"check", cache, "--operation=VIEW", "--roles=1", "|A|"},
                     "--operation: not a namespace: \"VIEW\"");
    expectUsageError({"check", "--cache=..", operation, "--roles=1", "|A|"},
                     "\"..\" is not the id of an access cache; a directory needs a slash, as in ./NAME");
    expectUsageError({"check", cache, operation, "--roles=1", "--objects-from", root_.path("none")},
                     "cannot read " + root_.path("none") + ": No such file or directory");
}

TEST_F(Check, AnUnreadableListEndsWithTwoAfterTheAnswersBeforeIt)
{
    const auto result = check("17", {"|KEEPSAFE|X|", "--objects-from", root_.path()});
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\n");
    EXPECT_EQ(result.errors, "ksrbac: cannot read " + root_.path() + ": Is a directory\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Check, AMissingCacheIsStatusTwelve)
{
    std::filesystem::remove_all(cacheDirectory());
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(12));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AManifestWithoutANamespaceIsStatus7610)
{
    writeFile(cacheDirectory() + "/manifest.json", R"({"namespace": "no"})");
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(7610));
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AMissingCacheFileIsNamed)
{
    std::filesystem::remove(cacheDirectory() + "/nodes");
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, "error opening " + cacheDirectory() +
                                 "/nodes: No such file or directory\nksrbac: " + cacheDirectory() +
                                 ": error opening file\n");
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AMissingOperationCacheIsStatusThirteen)
{
    std::filesystem::remove(operationCache());
    const auto result = check("0,17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(13));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AnInterruptedWriteIsStatusTwelve)
{
    CacheWriter cache = cacheWriter();
    cache.metadata.writeInProgress = 1;
    cache.write(cacheDirectory());
    const auto result = check("17", {"bad", "|KEEPSAFE|X|", "|KEEPSAFE|Y|"});
    EXPECT_EQ(result.errors, "OBJECT 1: not an object namespace: \"bad\"\n" + statusLine(12));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, DamageEndsItAfterTheAnswersBeforeIt)
{
    CacheWriter cache = cacheWriter();
    for (auto& object : cache.objects) {
        object.childBits = object.childBits == 0 ? 0 : 0x7FFFFFFF;
    }
    cache.write(cacheDirectory());
    const auto result = check("17", {"|OTHER|", "|KEEPSAFE|X|", "|OTHER|"});
    EXPECT_EQ(result.output, "deny\t|OTHER|\n");
    EXPECT_EQ(result.errors, statusLine(12));
    EXPECT_EQ(result.exitStatus, 3);
}

} // namespace
} // namespace keepsafe_test
