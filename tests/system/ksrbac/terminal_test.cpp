#include <chrono>
#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "KsrbacTest.h"
#include "support/Descriptor.h"
#include "support/PseudoTerminal.h"

// What a person at a terminal sees, and what a program at the other end of a pipe does not.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;
using testing::Not;

class AtTerminal : public KsrbacTest {
protected:
    /// Variables of the test's own environment do not count.
    [[nodiscard]] std::vector<std::string> withEnvironment(const std::vector<std::string>& environment,
                                                           const std::vector<std::string>& arguments) const
    {
        std::vector<std::string> all{"env"};
        all.insert(all.end(), environment.begin(), environment.end());
        const std::vector<std::string> command = commandLine(arguments);
        all.insert(all.end(), command.begin(), command.end());
        return all;
    }

    /// What the terminal shows when the program has all its descriptors there.
    [[nodiscard]] std::string shown(const std::vector<std::string>& arguments,
                                    const std::vector<std::string>& environment,
                                    unsigned short columns = 80) const
    {
        PseudoTerminal terminal(columns);
        {
            const Descriptor end = terminal.open();
            Process program =
                Process::start({withEnvironment(environment, arguments), end.get(), end.get(), end.get()});
            end_ = program.wait();
        }
        return terminal.shownAtEnd();
    }
    [[nodiscard]] std::string check(const std::vector<std::string>& more,
                                    const std::vector<std::string>& environment) const
    {
        std::vector<std::string> arguments{"check",      "--cache=main", "--operation=|OPERATIONS|VIEW|",
                                           "--roles=17", "|KEEPSAFE|X|", "|OTHER|"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return shown(arguments, environment);
    }

    mutable ProcessEnd end_;
};

constexpr char COLOURED_ANSWERS[] = "\x1B[32mallow\x1B[0m\t|KEEPSAFE|X|\r\n\x1B[31mdeny\x1B[0m\t|OTHER|\r\n";
constexpr char PLAIN_ANSWERS[] = "allow\t|KEEPSAFE|X|\r\ndeny\t|OTHER|\r\n";

TEST_F(AtTerminal, DecisionsAreColoured)
{
    EXPECT_EQ(check({}, {"TERM=xterm", "NO_COLOR="}), COLOURED_ANSWERS);
    EXPECT_EQ(end_.exitStatus, 1);
}

TEST_F(AtTerminal, ColoursCanBeTurnedOff)
{
    EXPECT_EQ(check({}, {"TERM=xterm", "NO_COLOR=1"}), PLAIN_ANSWERS);
    EXPECT_EQ(check({}, {"TERM=dumb", "NO_COLOR="}), PLAIN_ANSWERS);
    EXPECT_EQ(check({"--color=never"}, {"TERM=xterm", "NO_COLOR="}), PLAIN_ANSWERS);
    EXPECT_EQ(check({"--color=always"}, {"TERM=xterm", "NO_COLOR=1"}), COLOURED_ANSWERS);
}

TEST_F(AtTerminal, JsonIsNeverColoured)
{
    EXPECT_THAT(check({"--json", "--color=always"}, {"TERM=xterm", "NO_COLOR="}), Not(HasSubstr("\x1B")));
}

TEST_F(AtTerminal, APipeHasNoColours)
{
    EXPECT_EQ(KsrbacTest::check("17", {"|OTHER|"}).output, "deny\t|OTHER|\n");
    EXPECT_EQ(KsrbacTest::check("17", {"--color=always", "|OTHER|"}).output,
              "\x1B[31mdeny\x1B[0m\t|OTHER|\n");
}

TEST_F(AtTerminal, HelpIsAsWideAsTheTerminal)
{
    const auto longestLine = [this](unsigned short columns) {
        const std::string help = shown({"check", "--help"}, {"TERM=xterm"}, columns);
        const std::string text = help.substr(0, help.find("Examples:"));
        std::size_t longest = 0;
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = text.find("\r\n", begin);
            longest = std::max(longest, std::min(end, text.size()) - begin);
            begin = end == std::string::npos ? text.size() : end + 2;
        }
        return longest;
    };
    EXPECT_LE(longestLine(100), 100U);
    EXPECT_GT(longestLine(100), 85U);
    EXPECT_LE(longestLine(80), 80U);
}

TEST_F(AtTerminal, ProgressIsShownAfterASecondAndGoesAway)
{
    PseudoTerminal terminal;
    Pipe questions;
    const Descriptor answers = openFile(root_.path("answers"), O_WRONLY | O_CREAT);
    const Descriptor end = terminal.open();
    Process program = Process::start(
        {withEnvironment({"TERM=xterm"}, {"check", "--cache=main", "--operation=|OPERATIONS|VIEW|",
                                          "--roles=17", "--objects-from=-"}),
         questions.readEnd.get(), answers.get(), end.get()});
    const std::string line = "|KEEPSAFE|X|\n";
    const auto begin = std::chrono::steady_clock::now();
    while (terminal.shownNow().find("checked ") == std::string::npos &&
           std::chrono::steady_clock::now() - begin < std::chrono::minutes(1)) {
        ASSERT_EQ(write(questions.writeEnd.get(), line.data(), line.size()),
                  static_cast<ssize_t>(line.size()));
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_THAT(terminal.shownNow(), HasSubstr("\r\x1B[Kchecked "));
    questions.writeEnd.close();
    EXPECT_EQ(program.wait().exitStatus, 0);
    const std::string shown = terminal.shownNow();
    EXPECT_EQ(shown.substr(shown.size() - 4), "\r\x1B[K");
}

/// Every argument that names a file takes pipes.
class FromPipes : public KsrbacTest {
protected:
    /// What the program does whose file is a named pipe that the text comes through.
    [[nodiscard]] ProgramResult runWithPipe(const std::vector<std::string>& arguments,
                                            const std::string& text) const
    {
        const std::string pipe = root_.path("pipe");
        EXPECT_EQ(mkfifo(pipe.c_str(), 0600), 0);
        const Process writer = Process::fork([&] {
            const Descriptor end = openFile(pipe, O_WRONLY);
            return write(end.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size()) ? 0 : 1;
        });
        std::vector<std::string> all = arguments;
        all.push_back(pipe);
        ProgramResult result = run(all);
        EXPECT_EQ(unlink(pipe.c_str()), 0);
        return result;
    }
    /// What a shell's substitution gives: /dev/fd/N.
    [[nodiscard]] ProgramResult runWithSubstitution(const std::string& command, const std::string& text) const
    {
        return runProgram({"bash", "-c",
                           "exec \"$0\" --root \"$1\" --log-level 17 " + command + " <(printf '%s' \"$2\")",
                           KSRBAC_BINARY, root_.path(), text});
    }
};

TEST_F(FromPipes, ObjectsAndDecisionsAreRead)
{
    const std::vector<std::string> check{"check", "--cache=main", "--operation=|OPERATIONS|VIEW|",
                                         "--roles=17", "--objects-from"};
    EXPECT_EQ(runWithPipe(check, "|OTHER|\n").output, "deny\t|OTHER|\n");
    EXPECT_EQ(runWithSubstitution(
                  "check --cache main --operation '|OPERATIONS|VIEW|' --roles 17 --objects-from", "|OTHER|\n")
                  .output,
              "deny\t|OTHER|\n");
    const std::string table = "17\t|OPERATIONS|VIEW|\t|OTHER|\tdeny\n";
    EXPECT_EQ(runWithPipe({"check", "--cache=main", "--expect"}, table).exitStatus, 0);
    EXPECT_EQ(runWithSubstitution("check --cache main --expect", table).exitStatus, 0);
}

TEST_F(FromPipes, TokensAreRead)
{
    const std::string token = "e30.e30.x";
    for (const char* command : {"verify", "show", "roles"}) {
        const auto file = run({"token", command, "-"}, token);
        const auto pipe = runWithPipe({"token", command}, token);
        EXPECT_EQ(pipe.output + pipe.errors, file.output + file.errors) << command;
        EXPECT_EQ(runWithSubstitution(std::string("token ") + command, token).exitStatus, file.exitStatus);
    }
}

TEST_F(FromPipes, PolicyDocumentsAndListsOfObjectsAreRead)
{
    const std::string document = run({"cache", "dump", "main"}).output;
    EXPECT_EQ(runWithPipe({"simulate", "--cache=main", "--policy"}, document).exitStatus, 0);
    EXPECT_EQ(runWithSubstitution("simulate --cache main --policy", document).exitStatus, 0);
    EXPECT_EQ(run({"simulate", "--cache=main", "--policy=-"}, document).exitStatus, 0);
    const auto bulk = runWithPipe({"object", "register", "--bulk"}, "[]");
    EXPECT_EQ(bulk.errors, "ksrbac: " + root_.path("pipe") + ": no object\n");
}

TEST_F(FromPipes, AFullTokenPipeIsBounded)
{
    const auto result = run({"token", "verify", "-"}, std::string(65'537, 'x'));
    EXPECT_EQ(result.errors, "ksrbac: <stdin>: more than 65536 bytes, which is not a token\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(FromPipes, WaitingForAPipeCanBeInterrupted)
{
    const std::string pipe = root_.path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const bool hasWriter : {false, true}) {
        const Descriptor writer = hasWriter ? openFile(pipe, O_RDWR) : Descriptor(-1);
        Process program =
            Process::start(commandLine({"token", "verify", pipe}), root_.path("o"), root_.path("e"));
        program.signal(SIGINT);
        const ProcessEnd end = program.wait();
        EXPECT_EQ(end.signal, SIGINT) << hasWriter;
    }
}

} // namespace
} // namespace keepsafe_test
