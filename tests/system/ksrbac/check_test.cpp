#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/status/status_codes.h>

#include "KsrbacTest.h"

namespace keepsafe_test {
namespace {

std::string statusLine(int status, const std::string& reason)
{
    return "ksrbac: status " + std::to_string(status) + ": " + getECmsg(status) + " (" + reason + ")\n";
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
    EXPECT_EQ(result.errors,
              "<stdin>:2: not an object namespace: \"bad\": it does not start with '|'\n"
              "<stdin>:3: not an object namespace: \"\": it does not start with '|'\n"
              "<stdin>:4: not an object namespace: \"|KEEPSAFE|2|\\x0D\": it does not end with '|'\n"
              "<stdin>:5: not an object namespace: \"\\x09\": it does not start with '|'\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Check, AMalformedObjectOutranksADenial)
{
    const auto result = check("17", {"|OTHER|", "bad", "|OTHER|"});
    EXPECT_EQ(result.output, "deny\t|OTHER|\ndeny\t|OTHER|\n");
    EXPECT_EQ(result.errors, "OBJECT 2: not an object namespace: \"bad\": it does not start with '|'\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Check, AnEmptyListIsAnErrorUnlessItIsAllowed)
{
    const auto result = check("17", {"--objects-from=-", "|KEEPSAFE|X|"}, "");
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|X|\n");
    EXPECT_EQ(result.errors,
              "ksrbac: <stdin>: there is no object in it; with --allow-empty that is all allowed\n");
    EXPECT_EQ(result.exitStatus, 2);
    const auto allowed = check("17", {"--objects-from=-", "--allow-empty"}, "");
    EXPECT_EQ(allowed.output + allowed.errors, "");
    EXPECT_EQ(allowed.exitStatus, 0);
    EXPECT_EQ(check("17", {"--allow-empty", "|KEEPSAFE|X|"}).exitStatus, 2) << "there is no list";
}

TEST_F(Check, ANameWithALineFeedIsNoAnswerOfItsOwn)
{
    const auto result = check("17", {"|OTHER|\nallow\t|KEEPSAFE|", "|KEEPSAFE|\x1B[2J|"});
    EXPECT_EQ(result.output, "deny\t|OTHER|%0Aallow%09|KEEPSAFE|\nallow\t|KEEPSAFE|%1B%5B2J|\n");
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
                     "--operation: not a namespace: \"VIEW\": it does not start with '|'");
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

TEST_F(Check, AMissingCacheIsStatusTwelveAndTheOthersAreNamed)
{
    const auto result =
        run({"check", "--cache=mian", "--operation=|OPERATIONS|VIEW|", "--roles=17", "|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors,
              statusLine(12, "there is no cache " + temp("access-caches/mian") + "; there are: main"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AFileInTheCachesPlaceIsToldFromAMissingCache)
{
    std::filesystem::remove_all(cacheDirectory());
    writeFile(cacheDirectory(), "");
    EXPECT_EQ(check("17", {"|KEEPSAFE|X|"}).errors, statusLine(12, cacheDirectory() + ": Not a directory"));
}

TEST_F(Check, AManifestThatIsNoDocumentIsStatusTwelve)
{
    const std::string manifest = cacheDirectory() + "/manifest.json";
    writeFile(manifest, "{");
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(12, "Error loading " + manifest +
                                                " at position 1: string or '}' expected near end of file"));
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AManifestWithoutANamespaceIsStatus7610)
{
    const std::string manifest = cacheDirectory() + "/manifest.json";
    writeFile(manifest, R"({"namespace": "no"})");
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(7610, manifest + ": \"no\" is not a namespace"));
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AMissingCacheFileIsNamed)
{
    std::filesystem::remove(cacheDirectory() + "/nodes");
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(12, cacheDirectory() + "/nodes: No such file or directory"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, ACacheOfAnotherVersionIsNotRead)
{
    const auto writeHeader = [this](const std::string& begin) {
        const std::string file = cacheDirectory() + "/metadata";
        std::string header = readFile(file);
        writeFile(file, header.replace(0, begin.size(), begin));
    };
    writeHeader(std::string("KSACACHE\1\0\0\0", 12));
    EXPECT_EQ(check("17", {"|KEEPSAFE|X|"}).output, "allow\t|KEEPSAFE|X|\n");
    writeHeader(std::string("KSACACHE\2\0\0\0", 12));
    const auto result = check("17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(12, cacheDirectory() + " has version 2 of the format, and this "
                                                               "release reads version 1"));
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AMissingOperationCacheIsStatusThirteen)
{
    std::filesystem::remove(operationCache());
    const auto result = check("0,17", {"|KEEPSAFE|X|"});
    EXPECT_EQ(result.errors, statusLine(13, "Error loading operation cache: unable to open " +
                                                operationCache() + ": No such file or directory"));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.exitStatus, 3);
}

TEST_F(Check, AnInterruptedWriteIsStatusTwelve)
{
    CacheWriter cache = cacheWriter();
    cache.metadata.writeInProgress = 1;
    cache.write(cacheDirectory());
    const auto result = check("17", {"bad", "|KEEPSAFE|X|", "|KEEPSAFE|Y|"});
    EXPECT_EQ(result.errors,
              "OBJECT 1: not an object namespace: \"bad\": it does not start with '|'\n" +
                  statusLine(12, "A previous write on cache | was interrupted. Assuming invalid."));
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
    const std::string begin = "ksrbac: status 12: " + getECmsg(12) + " (Cache | is damaged: nodes at offset ";
    EXPECT_EQ(result.errors.substr(0, begin.size()), begin);
    EXPECT_EQ(result.exitStatus, 3);
}

} // namespace
} // namespace keepsafe_test
