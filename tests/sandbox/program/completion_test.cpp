#include <string>

#include <gtest/gtest.h>

#include "support/TempDir.h"
#include "system/ksrbac/completed_words.h"

/// The completion of ksrbac-sandbox and ksrbacd in a zsh that a person types into.

namespace keepsafe_test {
namespace {

class InZsh : public testing::Test {
protected:
    [[nodiscard]] std::string wordsAfter(const std::string& program, const std::string& typed) const
    {
        return completedWords(zshWith(KEEPSAFE_ZSH_SCRIPTS), KEEPSAFE_PROGRAMS, folder_.path(),
                              program + ' ' + typed, program);
    }

    TempDir folder_;
};

TEST_F(InZsh, CommandsOfTheSandboxAreCompleted)
{
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "gen"), "<generate>");
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "token is"), "<token><issue>");
}

TEST_F(InZsh, OptionsOfTheSandboxAreCompleted)
{
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "generate --obj"), "<generate><--objects>");
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "generate --objects 5 --se"), "<generate><--objects><5><--seed>");
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "token issue --sub"), "<token><issue><--subject>");
}

TEST_F(InZsh, FilesAndFoldersOfTheSandboxAreCompleted)
{
    writeFile(folder_.path("policy of mine.json"), "");
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "compile " + folder_.path("poli")),
              "<compile><" + folder_.path("policy of mine.json") + ">");
    writeFile(folder_.path("roots/one/file"), "");
    EXPECT_EQ(wordsAfter("ksrbac-sandbox", "init --root " + folder_.path("roots/o")),
              "<init><--root><" + folder_.path("roots/one") + ">");
}

TEST_F(InZsh, OptionsOfTheServiceAreCompleted) { EXPECT_EQ(wordsAfter("ksrbacd", "--mon"), "<--monitor>"); }

} // namespace
} // namespace keepsafe_test
