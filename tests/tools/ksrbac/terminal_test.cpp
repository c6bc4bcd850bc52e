#include <chrono>
#include <string>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "io/Console.h"
#include "io/Progress.h"
#include "io/Terminal.h"

namespace keepsafe_test {
namespace {

using ksrbac::Colour;
using ksrbac::ColourChoice;
using ksrbac::Console;
using ksrbac::Progress;
using ksrbac::Terminal;

Terminal everywhere()
{
    Terminal terminal;
    terminal.showsResults = true;
    terminal.showsMessages = true;
    terminal.canMove = true;
    terminal.areColoursWelcome = true;
    return terminal;
}

class OnTerminal : public testing::Test {
protected:
    /// A word as results, and a message.
    [[nodiscard]] std::string printed(const Terminal& terminal, ColourChoice choice)
    {
        Console console(results_, messages_, terminal);
        console.chooseColours(choice);
        console.print(console.paint("allow", Colour::Good) + '\n');
        console.complain("no");
        return results_.text + messages_.text;
    }

    StringSink results_;
    StringSink messages_;
};

constexpr char COLOURED[] = "\x1B[32mallow\x1B[0m\n\x1B[31mksrbac:\x1B[0m no\n";
constexpr char PLAIN[] = "allow\nksrbac: no\n";

TEST_F(OnTerminal, ColoursAreForTerminalsAlone)
{
    EXPECT_EQ(printed(everywhere(), ColourChoice::Auto), COLOURED);
}

TEST_F(OnTerminal, ThereAreNoColoursInAPipe) { EXPECT_EQ(printed(Terminal(), ColourChoice::Auto), PLAIN); }

TEST_F(OnTerminal, EachOutputIsLookedAtForItself)
{
    Terminal terminal = everywhere();
    terminal.showsResults = false;
    EXPECT_EQ(printed(terminal, ColourChoice::Auto), "allow\n\x1B[31mksrbac:\x1B[0m no\n");
}

TEST_F(OnTerminal, ColoursThatAreNotWelcomeAreLeftOut)
{
    Terminal terminal = everywhere();
    terminal.areColoursWelcome = false;
    EXPECT_EQ(printed(terminal, ColourChoice::Auto), PLAIN);
}

TEST_F(OnTerminal, AChoiceIsFollowedWhereverThereIsOne)
{
    EXPECT_EQ(printed(Terminal(), ColourChoice::Always), COLOURED);
}

TEST_F(OnTerminal, NeverIsNever) { EXPECT_EQ(printed(everywhere(), ColourChoice::Never), PLAIN); }

class ProgressTest : public OnTerminal {
protected:
    static constexpr auto LONG_AGO = Progress::Clock::time_point::min() + std::chrono::hours(1);
    Console console_{results_, messages_, everywhere()};
};

TEST_F(ProgressTest, IsNotShownInTheFirstSecond)
{
    Progress progress(console_, "checked", "objects");
    progress.add(1'000'000);
    EXPECT_EQ(messages_.text, "");
}

TEST_F(ProgressTest, CountsWhatIsDoneAndGoesAway)
{
    {
        Progress progress(console_, "checked", "objects", 0, LONG_AGO);
        progress.add(1'234'567);
        EXPECT_EQ(messages_.text, "\r\x1B[Kchecked 1,234,567 objects");
    }
    EXPECT_EQ(messages_.text, "\r\x1B[Kchecked 1,234,567 objects\r\x1B[K");
}

TEST_F(ProgressTest, IsABarWhereTheEndIsKnown)
{
    Progress progress(console_, "verified", "objects", 200, LONG_AGO);
    progress.add(51);
    EXPECT_EQ(messages_.text, "\r\x1B[K[#####...............] 25 %  verified 51 of 200 objects");
}

TEST_F(ProgressTest, IsNotWrittenAtEveryStep)
{
    Progress progress(console_, "checked", "objects", 0, LONG_AGO);
    for (int i = 0; i < 1000; ++i) {
        progress.add();
    }
    EXPECT_LT(messages_.text.size(), 1000U);
}

TEST_F(ProgressTest, MakesRoomForMessagesAndResults)
{
    Progress progress(console_, "checked", "objects", 0, LONG_AGO);
    progress.add();
    console_.complain("note: x");
    EXPECT_EQ(messages_.text, "\r\x1B[Kchecked 1 objects\r\x1B[Kksrbac: note: x\n");
    console_.showProgress("y");
    console_.print("result\n");
    console_.flush();
    EXPECT_EQ(messages_.text.substr(messages_.text.size() - 8), "\x1B[Ky\r\x1B[K");
}

TEST_F(ProgressTest, IsForTerminalsAlone)
{
    Terminal terminal = everywhere();
    terminal.canMove = false;
    Console console(results_, messages_, terminal);
    Progress progress(console, "checked", "objects", 0, LONG_AGO);
    EXPECT_FALSE(progress.isWatched());
    progress.add();
    EXPECT_EQ(messages_.text, "");
}

} // namespace
} // namespace keepsafe_test
