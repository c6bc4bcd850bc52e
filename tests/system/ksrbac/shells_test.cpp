#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "KsrbacTest.h"
#include "completed_words.h"

// The completion scripts in the shells themselves, which a person types into.

namespace keepsafe_test {
namespace {

std::vector<Shell> shells()
{
    const std::string scripts = KSRBAC_COMPLETION_SCRIPTS;
    return {{"bash",
             {"bash", "--norc", "--noprofile", "-i"},
             "bind 'set enable-bracketed-paste off'; source " + scripts + "/ksrbac.bash; PS1='REA''DY> '"},
            zshWith(scripts),
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
        return completedWords(GetParam(), program.substr(0, program.rfind('/')), root_.path(),
                              "ksrbac --root " + root_.path() + " " + typed, root_.path());
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
