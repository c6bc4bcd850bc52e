#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "KsrbacTest.h"

// What the build makes from the tool's option tree: the completion script, run in a real shell, and the
// manual page.

namespace keepsafe_test {
namespace {

class Completion : public KsrbacTest {
protected:
    /// What the shell offers for the last of the words, by lines.
    [[nodiscard]] std::string offered(const std::vector<std::string>& words) const
    {
        const std::string script =
            "source \"$1\"; shift; COMP_WORDS=(\"$@\"); COMP_CWORD=$(($# - 1)); "
            "_ksrbac; (( ${#COMPREPLY[@]} == 0 )) || printf '%s\\n' \"${COMPREPLY[@]}\"";
        std::vector<std::string> arguments{"/bin/bash", "--norc", "-c", script, "bash", KSRBAC_COMPLETION};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const auto result = runProgram(arguments);
        EXPECT_EQ(result.errors, "");
        return result.output;
    }
};

TEST_F(Completion, OffersCommandsAndTheirOptions)
{
    EXPECT_EQ(offered({"ksrbac", "c"}), "check\ncache\n");
    EXPECT_EQ(offered({"ksrbac", "cache", "v"}), "verify\n");
    EXPECT_EQ(offered({"ksrbac", "cache", "verify", "--m"}), "--max-faults\n");
    EXPECT_EQ(offered({"ksrbac", "--log-level", "4", "op"}), "operations\noperation\n");
    EXPECT_EQ(offered({"ksrbac", "operation", ""}), "list\n");
    EXPECT_EQ(offered({"ksrbac", "role", "u"}), "update\n");
    EXPECT_EQ(offered({"ksrbac", "check", "--ro"}), "--roles\n--root\n");
}

TEST_F(Completion, OffersTheCachesOfTheRootThatWasGiven)
{
    EXPECT_EQ(offered({"ksrbac", "--root", root_.path(), "cache", "info", "ma"}), "main\n");
    EXPECT_EQ(offered({"ksrbac", "check", "--root", "=", root_.path(), "--cache", "ma"}), "main\n");
    EXPECT_EQ(offered({"ksrbac", "check", "--root", root_.path(), "--cache", "=", "ma"}), "main\n");
    EXPECT_EQ(offered({"ksrbac", "cache", "verify", root_.path("wm")}), root_.path("wmc") + "/\n");
}

TEST_F(Completion, OffersFilesForAList)
{
    writeFile(root_.path("objects.txt"), "");
    EXPECT_EQ(offered({"ksrbac", "check", "--objects-from", root_.path("obj")}),
              root_.path("objects.txt") + "\n");
}

TEST_F(Completion, OffersFilesForAToken)
{
    writeFile(root_.path("token"), "");
    const std::string path = root_.path("token") + "\n";
    EXPECT_EQ(offered({"ksrbac", "check", "--session-token-file", root_.path("tok")}), path);
    EXPECT_EQ(offered({"ksrbac", "token", "verify", root_.path("tok")}), path);
}

TEST_F(Completion, OffersTheWordsOfAChoice)
{
    EXPECT_EQ(offered({"ksrbac", "object", "set-inherit", "|A|", "o"}), "on\noff\n");
    EXPECT_EQ(offered({"ksrbac", "access", "add", "|A|", "--propagation", "OBJ"}),
              "OBJECT\nOBJECT_AND_CHILDREN\n");
}

TEST_F(Completion, OffersNothingForFreeText)
{
    EXPECT_EQ(offered({"ksrbac", "role", "get", ""}), "");
    EXPECT_EQ(offered({"ksrbac", "object", "set-inherit", "|A"}), "");
    EXPECT_EQ(offered({"ksrbac", "check", "--operation", ""}), "");
    EXPECT_EQ(offered({"ksrbac", "check", "|A"}), "");
}

TEST(ManualPage, HasTheSectionsOfAManualPage)
{
    const std::string page = readFile(KSRBAC_MANUAL);
    for (const char* part :
         {".TH KSRBAC \"1\"",
          ".SH NAME\nksrbac \\- ask for access decisions, and manage roles, objects and grants",
          ".SH SYNOPSIS", ".SH DESCRIPTION", ".SH OPTIONS", "\\fB\\-\\-root\\fR DIR", ".SH COMMANDS",
          ".SS \"ksrbac cache verify\"", ".SS \"ksrbac token show\"", ".SS \"ksrbac access add\"",
          ".SH FILES"}) {
        EXPECT_NE(page.find(part), std::string::npos) << part;
    }
}

} // namespace
} // namespace keepsafe_test
