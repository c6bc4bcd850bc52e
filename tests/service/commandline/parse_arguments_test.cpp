#include "commandline/parse_arguments.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "errors/InputError.h"
#include "support/thrown.h"

namespace {

using keepsafe_service::InputError;
using keepsafe_service::parseArguments;

class CommandLine : public testing::Test {
protected:
    CommandLine()
    {
        program_.require_subcommand(1);
        CLI::App* const group = program_.add_subcommand("group", "");
        group->require_subcommand(1);
        group->add_subcommand("command", "")->add_option("--number", number_, "")->required();
    }

    bool parse(std::vector<const char*> arguments)
    {
        arguments.insert(arguments.begin(), "program");
        return parseArguments(program_, static_cast<int>(arguments.size()), arguments.data());
    }
    std::string faultOf(const std::vector<const char*>& arguments)
    {
        return keepsafe_test::thrownBy<InputError>([&] { static_cast<void>(parse(arguments)); }).what();
    }

    CLI::App program_{"A program", "program"};
    int number_ = 0;
};

TEST_F(CommandLine, IsRead)
{
    EXPECT_TRUE(parse({"group", "command", "--number", "7"}));
    EXPECT_EQ(number_, 7);
}

TEST_F(CommandLine, MayAskForTheHelp)
{
    testing::internal::CaptureStdout();
    EXPECT_FALSE(parse({"group", "--help"}));
    EXPECT_NE(testing::internal::GetCapturedStdout().find("command"), std::string::npos);
}

TEST_F(CommandLine, FaultsNameTheHelpOfTheCommandThatWasReached)
{
    EXPECT_EQ(faultOf({}), "a subcommand is required; 'program --help' says more");
    EXPECT_EQ(faultOf({"grup", "command"}), "there is no command \"grup\"; 'program --help' says more");
    EXPECT_EQ(faultOf({"group"}), "a subcommand is required; 'program group --help' says more");
    EXPECT_EQ(faultOf({"group", "command"}),
              "--number is required; 'program group command --help' says more");
    EXPECT_EQ(faultOf({"group", "command", "--number", "x"}),
              "could not convert: --number = x; 'program group command --help' says more");
}

} // namespace
