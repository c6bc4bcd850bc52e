#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sandbox/support/SandboxRoot.h"
#include "support/Process.h"
#include "support/TempDir.h"

/// What the commands of ksrbac-sandbox read, and where they print, as a shell connects them.

namespace keepsafe_test {
namespace {

const std::string COMPANY_FILE = KEEPSAFE_EXAMPLE_POLICIES "/company.json";

class SandboxInShell : public testing::Test {
protected:
    SandboxInShell()
    {
        const ProgramResult made = root_.sandbox({"init"});
        EXPECT_EQ(made.exitStatus, 0) << made.errors;
    }

    /// A line of bash in which `sandbox` is the program and `$ROOT` its root.
    [[nodiscard]] ProgramResult shell(const std::string& line) const
    {
        return runProgram({"bash", "-c",
                           "ROOT='" + root_.path() + "'; sandbox() { '" + SandboxRoot::sandboxProgram() +
                               "' \"$@\"; }; " + line});
    }

    SandboxRoot root_;
};

TEST_F(SandboxInShell, PoliciesComeFromFilesPipesAndStandardInputAlike)
{
    for (const std::string& source :
         {"sandbox compile " + COMPANY_FILE + " --root $ROOT --id a",
          "sandbox compile - --root $ROOT --id b < " + COMPANY_FILE,
          "cat " + COMPANY_FILE + " | sandbox compile - --root $ROOT --id c",
          "sandbox compile <(cat " + COMPANY_FILE + ") --root $ROOT --id d",
          "mkfifo $ROOT/pipe && cat " + COMPANY_FILE +
              " > $ROOT/pipe & sleep 0; "
              "until [ -p $ROOT/pipe ]; do :; done; sandbox compile $ROOT/pipe --root $ROOT --id e",
          "cat " + COMPANY_FILE + " | sandbox import - --root $ROOT",
          "sandbox import <(cat " + COMPANY_FILE + ") --replace --root $ROOT"}) {
        const ProgramResult result = shell(source);
        EXPECT_EQ(result.exitStatus, 0) << source;
        EXPECT_EQ(result.errors, "") << source;
        EXPECT_NE(result.output.find("38 objects, 32 access definitions"), std::string::npos) << source;
    }
}

TEST_F(SandboxInShell, OtherInputsComeFromPipes)
{
    EXPECT_EQ(shell("sandbox token issue --root $ROOT --subject a --roles 1 > $ROOT/token; "
                    "sandbox token revoke --root $ROOT <(cat $ROOT/token)")
                  .output.substr(0, 8),
              "revoked ");
    EXPECT_EQ(
        shell("sandbox criteria add --root $ROOT --collection 1 --object-type VM --json <(echo '{}')").output,
        "added criteria of 2 bytes to the collection 1 for \"VM\"\n");
}

TEST_F(SandboxInShell, FaultsOfStandardInputAreNamed)
{
    const ProgramResult result = shell("echo '[]' | sandbox compile - --root $ROOT --id a");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: <stdin>: document: expected an object, found an array\n");
}

TEST_F(SandboxInShell, AnEndlessPolicyIsRefused)
{
    const ProgramResult result = shell("sandbox compile /dev/zero --root $ROOT --id a");
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_EQ(result.errors, "ksrbac-sandbox: /dev/zero has more than 268435456 bytes\n");
}

TEST_F(SandboxInShell, OutputThatCannotBeWrittenIsStatus4)
{
    const std::string full = "ksrbac-sandbox: cannot write standard output: No space left on device\n";
    for (const std::string& command :
         {"compile " + COMPANY_FILE + " --id a", std::string("generate --objects 1 --id b"),
          "import " + COMPANY_FILE, std::string("init"), std::string("token issue --subject a --roles 1"),
          std::string("token list"),
          std::string("criteria add --collection 1 --object-type VM --json <(echo '{}')"),
          std::string("criteria list")}) {
        const ProgramResult result = shell("sandbox " + command + " --root $ROOT > /dev/full");
        EXPECT_EQ(result.exitStatus, 4) << command;
        EXPECT_EQ(result.errors, full) << command;
    }
    for (const std::string& command : {std::string("--help"), std::string("--version")}) {
        EXPECT_EQ(shell("sandbox " + command + " > /dev/full").exitStatus, 4) << command;
    }
    const ProgramResult closed = shell("sandbox compile " + COMPANY_FILE + " --id c --root $ROOT >&-");
    EXPECT_EQ(closed.exitStatus, 4);
    EXPECT_EQ(closed.errors, "ksrbac-sandbox: cannot write standard output: Bad file descriptor\n");
}

TEST_F(SandboxInShell, WrongUsageIsToldByTheProgramWithTheHelpThatSaysMore)
{
    const auto errors = [this](const std::string& arguments) {
        const ProgramResult result = shell("sandbox " + arguments);
        EXPECT_EQ(result.exitStatus, 2) << arguments;
        EXPECT_EQ(result.output, "") << arguments;
        return result.errors;
    };
    EXPECT_EQ(errors(""), "ksrbac-sandbox: a subcommand is required; 'ksrbac-sandbox --help' says more\n");
    EXPECT_EQ(errors("token lst"),
              "ksrbac-sandbox: there is no command \"lst\"; 'ksrbac-sandbox token --help' says more\n");
    EXPECT_EQ(errors("compile --root x --id a"),
              "ksrbac-sandbox: policy is required; 'ksrbac-sandbox compile --help' says more\n");
    EXPECT_EQ(errors("token issue --root x"),
              "ksrbac-sandbox: --subject is required; 'ksrbac-sandbox token issue --help' says more\n");
    EXPECT_EQ(errors("token list --root x --colour"),
              "ksrbac-sandbox: the following argument was not expected: --colour; "
              "'ksrbac-sandbox token list --help' says more\n");
}

} // namespace
} // namespace keepsafe_test
