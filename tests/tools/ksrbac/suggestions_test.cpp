#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StringSink.h"
#include "cli/suggestions.h"

namespace keepsafe_test {
namespace {

using ksrbac::didYouMean;
using ksrbac::ExitStatus;
using ksrbac::similarNames;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(SimilarNames, AreThoseThatOneMistypedCharacterSeparates)
{
    const std::vector<std::string> names{"check", "list", "cache"};
    for (const char* word : {"chekc", "chec", "checkk", "cheek", "CHECK", "heck"}) {
        EXPECT_THAT(similarNames(word, names), ElementsAre("check")) << word;
    }
}

TEST(SimilarNames, AreThoseThatTheWordBegins)
{
    EXPECT_THAT(similarNames("--sess", {"--roles", "--session-token-file"}),
                ElementsAre("--session-token-file"));
    EXPECT_THAT(similarNames("un", {"unregister", "register"}), ElementsAre("unregister"));
}

TEST(SimilarNames, TakesTheNearestOnes)
{
    EXPECT_THAT(similarNames("--role", {"--roles", "--root", "--role-names", "--json"}),
                ElementsAre("--roles"));
    EXPECT_THAT(similarNames("cast", {"cash", "last", "cost", "cart", "mist"}),
                ElementsAre("cash", "last", "cost"));
}

TEST(SimilarNames, AreNoneIfNothingIsNear)
{
    EXPECT_THAT(similarNames("frobnicate", {"check", "list"}), IsEmpty());
    EXPECT_THAT(similarNames(std::string(100'000, 'x'), {"check", std::string(100'001, 'x')}), IsEmpty());
    EXPECT_THAT(similarNames("", {"check"}), IsEmpty());
}

TEST(DidYouMean, JoinsTheNames)
{
    EXPECT_EQ(didYouMean({}), "");
    EXPECT_EQ(didYouMean({"a"}), "; did you mean a?");
    EXPECT_EQ(didYouMean({"a", "b"}), "; did you mean a or b?");
    EXPECT_EQ(didYouMean({"a", "b", "c"}), "; did you mean a, b or c?");
}

/// What the program says about a command line that it cannot use.
std::string saidOf(const std::vector<std::string>& arguments)
{
    const ProgramRun result = runProgram(arguments);
    EXPECT_EQ(result.status, ExitStatus::BadInput);
    EXPECT_EQ(result.results, "");
    return result.messages;
}

TEST(Usage, ACommandThatDoesNotExistIsAnsweredWithTheSimilarOnes)
{
    EXPECT_EQ(saidOf({"chekc"}), "ksrbac: unknown command \"chekc\"; did you mean check?\n"
                                 "Run 'ksrbac --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"chekc", "--roles", "17"}), saidOf({"chekc"}));
    EXPECT_EQ(saidOf({"role", "gte", "5"}), "ksrbac: unknown command \"gte\"; did you mean get?\n"
                                            "Run 'ksrbac role --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"verify", "main"}),
              "ksrbac: unknown command \"verify\"; did you mean cache verify or token verify?\n"
              "Run 'ksrbac --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"frobnicate"}), "ksrbac: unknown command \"frobnicate\"\n"
                                      "Run 'ksrbac --help' for how it is used.\n");
}

TEST(Usage, AnOptionThatDoesNotExistIsAnsweredWithTheSimilarOnes)
{
    EXPECT_EQ(saidOf({"list", "--operation=|O|", "--role", "17"}),
              "ksrbac: unknown option \"--role\"; did you mean --roles?\n"
              "Run 'ksrbac list --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"cache", "verify", "--max-fault=3", "main"}),
              "ksrbac: unknown option \"--max-fault\"; did you mean --max-faults?\n"
              "Run 'ksrbac cache verify --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"-json", "role", "list"}), "ksrbac: unknown option \"-json\"; did you mean --json?\n"
                                                 "Run 'ksrbac role list --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"operations", "--frobnicate"}), "ksrbac: unknown option \"--frobnicate\"\n"
                                                      "Run 'ksrbac operations --help' for how it is used.\n");
}

TEST(Usage, AnOptionThatDoesNotExistIsToldBeforeOneThatIsMissing)
{
    EXPECT_EQ(saidOf({"check", "--operaton", "|O|", "--roles=1", "|A|"}),
              "ksrbac: unknown option \"--operaton\"; did you mean --operation?\n"
              "Run 'ksrbac check --help' for how it is used.\n");
}

TEST(Usage, WhatWasTypedCannotSteerTheTerminal)
{
    EXPECT_EQ(saidOf({"\x1B[2J"}), "ksrbac: unknown command \"\\x1B[2J\"\n"
                                   "Run 'ksrbac --help' for how it is used.\n");
    EXPECT_EQ(saidOf({"role", "list", "--\x1B[2J"}), "ksrbac: unknown option \"--\\x1B[2J\"\n"
                                                     "Run 'ksrbac role list --help' for how it is used.\n");
}

} // namespace
} // namespace keepsafe_test
