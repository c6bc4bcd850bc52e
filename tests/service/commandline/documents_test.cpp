#include "commandline/documents.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Process.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using namespace keepsafe_service;
using testing::HasSubstr;

/// A program of two commands, one of them a group.
class DocumentsTest : public testing::Test {
protected:
    DocumentsTest()
    {
        program_.set_version_flag("--version", "1", "Show the version");
        program_.footer("Exit status:\n.0 it's done");
        CLI::App* const write = program_.add_subcommand("write", "Write: a file");
        write->add_option("input", input_, "What to write")->required()->type_name("FILE|-");
        write->add_option("--root", root_, "Where to write [below]")->required()->type_name("DIR");
        write->add_flag("--force", isForced_, "Even if it's there");
        CLI::App* const list = program_.add_subcommand("list", "Lists");
        list->add_subcommand("long", "List all")->add_option("--most", most_, "How many")->type_name("N");
    }

    void save(const std::string& text) const { writeFile(folder_.path("script"), text); }

    /// What the shell offers for the last word of the line, a word a line.
    [[nodiscard]] std::string bash(const std::string& line) const
    {
        save(bashCompletion(program_));
        return runProgram({"bash", "-c",
                           "cd '" + folder_.path() + "' && . ./script && set -- " + line +
                               " && COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1)) && _a_program && "
                               "printf '%s\\n' \"${COMPREPLY[@]}\" | sort"})
            .output;
    }
    [[nodiscard]] std::string fish(const std::string& line) const
    {
        save(fishCompletion(program_));
        return runProgram({"fish", "--no-config", "-c",
                           "cd '" + folder_.path() + "'; source ./script; complete -C '" + line +
                               "' | string replace -r '\\t.*' '' | sort"})
            .output;
    }

    TempDir folder_;
    CLI::App program_{"A program: it does things", "a-program"};
    std::string input_;
    std::string root_;
    bool isForced_ = false;
    int most_ = 0;
};

TEST_F(DocumentsTest, TheManualPageHasEveryOptionAndCommand)
{
    const std::string page = manualPage(program_, "1.0.0");
    EXPECT_THAT(page, HasSubstr(".SH NAME\na\\-program \\- a program\n"));
    EXPECT_THAT(page, HasSubstr(".SS \"a\\-program write\"\n"));
    EXPECT_THAT(page, HasSubstr(".TP\n\\fB\\-\\-root\\fR \\fIDIR\\fR\nWhere to write [below]\n"));
    EXPECT_THAT(page, HasSubstr("Even if it\\(aqs there\n"));
    EXPECT_THAT(page, HasSubstr(".SS \"a\\-program list long\"\n"));
    EXPECT_THAT(page, HasSubstr("\\&.0 it\\(aqs done\n")) << "no request of troff";
}

TEST_F(DocumentsTest, TheManualPageIsOneForMan)
{
    save(manualPage(program_, "1.0.0"));
    const ProgramResult shown =
        runProgram({"groff", "-man", "-ww", "-Tascii", "-P-cbou", folder_.path("script")});
    EXPECT_EQ(shown.exitStatus, 0);
    EXPECT_EQ(shown.errors, "");
    EXPECT_THAT(shown.output, HasSubstr("SYNOPSIS"));
}

TEST_F(DocumentsTest, BashCompletesCommandsOptionsAndFiles)
{
    EXPECT_EQ(bash("a-program ''"), "--help\n--version\n-h\nlist\nwrite\n");
    EXPECT_EQ(bash("a-program wr"), "write\n");
    EXPECT_EQ(bash("a-program list ''"), "--help\n-h\nlong\n");
    EXPECT_EQ(bash("a-program list long --m"), "--most\n");
    EXPECT_EQ(bash("a-program write --root x --f"), "--force\n");
    EXPECT_EQ(bash("a-program write sc"), "script\n");
    EXPECT_EQ(bash("a-program list long --most ''"), "\n");
}

TEST_F(DocumentsTest, FishCompletesCommandsOptionsAndFiles)
{
    EXPECT_EQ(fish("a-program "), "list\nwrite\n");
    EXPECT_EQ(fish("a-program list "), "long\n");
    EXPECT_EQ(fish("a-program list long --m"), "--most\n");
    EXPECT_EQ(fish("a-program write --f"), "--force\n");
    EXPECT_EQ(fish("a-program write sc"), "script\n");
}

TEST_F(DocumentsTest, ZshTakesTheScript)
{
    save(zshCompletion(program_));
    const ProgramResult result = runProgram({"zsh", "-f", "-n", folder_.path("script")});
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(zshCompletion(program_), HasSubstr("'--root[Where to write \\[below\\]]:DIR:_files -/'"));
}

} // namespace
} // namespace keepsafe_test
