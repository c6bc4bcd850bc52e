#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "KsrbacTest.h"
#include "PseudoTerminal.h"

// The completion scripts in the shells themselves, which a person types into.

namespace keepsafe_test {
namespace {

struct Shell {
    const char* name;
    std::vector<std::string> arguments;
    /// Loads the script and makes the shell as plain as it can be.
    std::string setUp;
};

/// Each ends with the prompt, which what is typed does not hold in this form.
std::vector<Shell> shells()
{
    const std::string scripts = KSRBAC_COMPLETION_SCRIPTS;
    return {{"bash",
             {"bash", "--norc", "--noprofile", "-i"},
             "bind 'set enable-bracketed-paste off'; source " + scripts + "/ksrbac.bash; PS1='REA''DY> '"},
            {"zsh",
             {"zsh", "-f", "-i"},
             "bindkey -e; setopt nobeep; fpath=(" + scripts +
                 " $fpath); autoload -U compinit; compinit -D -u; PS1='REA''DY> '"},
            {"fish",
             {"fish", "--no-config", "--private", "-i"},
             "source " + scripts + "/ksrbac.fish; function fish_prompt; echo -n 'REA''DY> '; end"}};
}

/// A shell for which "ksrbac" is the program of this build.
class InShell : public KsrbacTest, public testing::WithParamInterface<Shell> {
protected:
    InShell()
    {
        writeFile(operationCache(), R"({"|OPERATIONS|VIEW|": 3, "|OPERATIONS|ADD|": 37, "|O'S|\"x\"|": 4})");
    }

    /// The words that the shell passes to the command after what was typed and the key for completion.
    [[nodiscard]] std::string wordsAfter(const std::string& typed) const
    {
        const std::string program = KSRBAC_BINARY;
        PseudoTerminal terminal;
        std::vector<std::string> arguments{"env",
                                           "PATH=" + program.substr(0, program.rfind('/')) + ":/usr/bin:/bin",
                                           "TERM=xterm",
                                           "HOME=" + root_.path(),
                                           "LC_ALL=C.UTF-8",
                                           "HISTFILE="};
        arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());
        const Process shell = terminal.start(arguments);
        terminal.type(GetParam().setUp + "\r");
        (void)terminal.shownUntil("READY> ");
        // The completed line becomes the arguments of another command, which shows them.
        terminal.type("ksrbac --root " + root_.path() + " " + typed +
                      "\t\x05 ; echo EN''D\x01printf '<%s>\\n' \r");
        const std::string shown = terminal.shownUntil("END");
        const std::string begin = "<" + root_.path() + ">\r\n";
        const std::size_t at = shown.rfind(begin);
        if (at == std::string::npos) {
            return shown;
        }
        const std::string words = shown.substr(at + begin.size(), shown.rfind("END") - at - begin.size());
        std::string plain;
        for (const char c : words) {
            plain += c == '\r' || c == '\n' ? "" : std::string(1, c);
        }
        return plain;
    }
};

TEST_P(InShell, CommandsAndOptionsAreCompleted)
{
    EXPECT_EQ(wordsAfter("ca"), "<cache>");
    EXPECT_EQ(wordsAfter("cache v"), "<cache><verify>");
    EXPECT_EQ(wordsAfter("cache verify --max"), "<cache><verify><--max-faults>");
}

TEST_P(InShell, OperationsSurviveTheBarsInThem)
{
    EXPECT_EQ(wordsAfter("check --operation '|OPERATIONS|V"), "<check><--operation><|OPERATIONS|VIEW|>");
    EXPECT_EQ(wordsAfter("access add x --operations '|OPERATIONS|ADD|,|OPERATIONS|V"),
              "<access><add><x><--operations><|OPERATIONS|ADD|,|OPERATIONS|VIEW|>");
}

TEST_P(InShell, AWordMayBeginBehindAnEqualsSign)
{
    EXPECT_EQ(wordsAfter("check --color=al"), "<check><--color=always>");
}

TEST_P(InShell, NamesWithQuotesSurvive)
{
    EXPECT_EQ(wordsAfter("who-can '|O%"), "<who-can><|O%27S|%22x%22|>");
}

TEST_P(InShell, ObjectsAreCompletedLevelByLevel)
{
    EXPECT_EQ(wordsAfter("object get '|KEEPSAFE|C"), "<object><get><|KEEPSAFE|CLOSED|>");
}

TEST_P(InShell, CachesAndChoicesAreCompleted)
{
    EXPECT_EQ(wordsAfter("cache info ma"), "<cache><info><main>");
    EXPECT_EQ(wordsAfter("object set-inherit x of"), "<object><set-inherit><x><off>");
}

TEST_P(InShell, FilesAreCompletedByTheShell)
{
    writeFile(root_.path("a file"), "");
    EXPECT_EQ(wordsAfter("token show " + root_.path("a\\ fi")),
              "<token><show><" + root_.path("a file") + ">");
}

class Completion : public KsrbacTest {};

TEST_F(Completion, GivesUpAfterASecondWhateverItWaitsFor)
{
    // The operation cache is read under this lock.
    const FileLock lock =
        FileLockManager::instance().getLock(operationCache() + ".lck", FileLock::MissingFile::IsCreated);
    const FileLockGuard writer(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER, FileLock::DEFAULT_INTERVAL);
    const auto begin = std::chrono::steady_clock::now();
    const auto result = runProgram(
        {KSRBAC_BINARY, "complete", "bash", "--", "ksrbac --root " + root_.path() + " check --operation "});
    const auto duration = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_GE(duration, std::chrono::milliseconds(900));
    EXPECT_LT(duration, std::chrono::seconds(20)); // without a bound it would wait without end
}

INSTANTIATE_TEST_SUITE_P(Shells, InShell, testing::ValuesIn(shells()),
                         [](const auto& shell) { return std::string(shell.param.name); });

} // namespace
} // namespace keepsafe_test
