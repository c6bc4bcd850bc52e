#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "commands/commands.h"

namespace keepsafe_test {
namespace {

using ksrbac::ExitStatus;

/// Expects the help of "ksrbac NAME": its usage, and an example that begins with that.
void expectHelp(const std::string& name)
{
    std::istringstream words(name);
    std::vector<std::string> arguments;
    for (std::string word; words >> word;) {
        arguments.push_back(word);
    }
    arguments.emplace_back("--help");
    const std::string call = name.empty() ? "ksrbac" : "ksrbac " + name;
    const ProgramRun help = runProgram(arguments);
    EXPECT_EQ(help.results.rfind("Usage: " + call + " [OPTION]...", 0), 0U) << help.results;
    const std::size_t example = help.results.find("\nExample");
    ASSERT_NE(example, std::string::npos) << call;
    EXPECT_NE(help.results.find("\n  " + call, example), std::string::npos) << call;
    EXPECT_EQ(help.messages, "");
    EXPECT_EQ(help.status, ExitStatus::Good);
}

TEST(Help, OfEveryCommandHasAnExample)
{
    expectHelp("");
    for (const ksrbac::CommandRow& row : ksrbac::commandTable()) {
        expectHelp(row.name);
    }
}

} // namespace
} // namespace keepsafe_test
