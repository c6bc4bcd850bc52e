#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StringSink.h"
#include "cli/command_line.h"
#include "commands/commands.h"

namespace keepsafe_test {
namespace {

using ksrbac::CommandRow;
using ksrbac::ExitStatus;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::vector<std::string> helpOf(const std::string& name)
{
    std::istringstream words(name);
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) {
        arguments.push_back(word);
    }
    arguments.emplace_back("--help");
    return arguments;
}

std::string callOf(const std::string& name) { return name.empty() ? "ksrbac" : "ksrbac " + name; }

/// Expects the help of "ksrbac NAME": its usage, and an example that begins with that.
void expectHelp(const std::string& name)
{
    const std::string call = callOf(name);
    const ProgramRun help = runProgram(helpOf(name));
    EXPECT_EQ(help.results.rfind("Usage: " + call + " [OPTION]...", 0), 0U) << help.results;
    const std::size_t example = help.results.find("\nExample");
    ASSERT_NE(example, std::string::npos) << call;
    EXPECT_NE(help.results.find("\n  " + call, example), std::string::npos) << call;
    EXPECT_EQ(help.messages, "");
    EXPECT_EQ(help.status, ExitStatus::Good);
}

/// The part of the text that is not made of examples, which are never wrapped.
std::string withoutExamples(const std::string& help)
{
    const std::size_t begin = help.find("\nExample");
    const std::size_t end = help.find("\n\n", begin);
    return help.substr(0, begin) + (end == std::string::npos ? "" : help.substr(end));
}

std::size_t longestLine(const std::string& text)
{
    std::size_t longest = 0;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        longest = std::max(longest, line.size());
    }
    return longest;
}

std::string helpAtWidth(const std::string& name, std::size_t width)
{
    return ksrbac::parseCommandLine(helpOf(name), ksrbac::commandTable(), width).programText;
}

TEST(Help, OfEveryCommandHasAnExample)
{
    expectHelp("");
    for (const CommandRow& row : ksrbac::commandTable()) {
        expectHelp(row.name);
    }
}

TEST(Help, OfEveryCommandTellsEachExitStatus)
{
    for (const CommandRow& row : ksrbac::commandTable()) {
        if (row.add != nullptr) {
            const std::string help = helpAtWidth(row.name, 80);
            EXPECT_THAT(help, HasSubstr("\n\nExit status:\n  0  ")) << row.name;
            EXPECT_THAT(help, Not(HasSubstr("Exit status: "))) << row.name;
        }
    }
}

TEST(Help, HasItsSectionsInOrder)
{
    const std::string help = helpAtWidth("cache verify", 80);
    std::size_t last = 0;
    for (const char* section :
         {"Usage: ksrbac cache verify [OPTION]... CACHE\n\nLook for damage in an access cache.\n",
          "\n\nDescription:\n  ", "\n\nArguments:\n  CACHE ", "\n\nOptions:\n  -h, --help ",
          "\n\nGlobal options:\n", "\n\nExample:\n  ksrbac cache verify main",
          "\n\nExit status:\n  0  no fault\n  1  faults\n  2  usage error"}) {
        const std::size_t at = help.find(section);
        ASSERT_NE(at, std::string::npos) << section << help;
        EXPECT_GE(at, last) << section;
        last = at;
    }
}

TEST(Help, IsWrappedAtTheWidth)
{
    for (const CommandRow& row : ksrbac::commandTable()) {
        EXPECT_LE(longestLine(withoutExamples(helpAtWidth(row.name, 80))), 80U) << row.name;
    }
    for (const std::size_t width : {60U, 100U, 120U}) {
        const std::string help = withoutExamples(helpAtWidth("check", width));
        EXPECT_LE(longestLine(help.substr(help.find("\n\n"))), width);
        EXPECT_GT(longestLine(help), width - 15);
    }
}

TEST(Help, ListsCommandsByWhatTheyAreFor)
{
    const std::string help = helpAtWidth("", 80);
    EXPECT_THAT(help, HasSubstr("\n\nAsk for decisions:\n  check         Decide whether"));
    EXPECT_THAT(help,
                HasSubstr("\n\nExamine what is on this host:\n  cache         Examine an access cache.\n"));
    EXPECT_THAT(help, HasSubstr("\n\nManage the access-control service:\n  role          Manage the roles"));
}

TEST(Help, LeavesHiddenCommandsOutOfTheOverview)
{
    const std::string help = helpAtWidth("", 80);
    EXPECT_THAT(help, Not(HasSubstr("\n  operations ")));
    EXPECT_THAT(help, Not(HasSubstr("\n  complete ")));
    EXPECT_THAT(runProgram({"operations", "--help"}).results, StartsWith("Usage: ksrbac operations"));
}

} // namespace
} // namespace keepsafe_test
