#include <chrono>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "StringSink.h"
#include "io/Activity.h"
#include "io/Console.h"
#include "io/Progress.h"
#include "io/Terminal.h"

namespace keepsafe_test {
namespace {

using ksrbac::Activity;
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

TEST_F(ProgressTest, IsNotDrawnOverALineOfResultsThatHasNotEnded)
{
    Progress progress(console_, "checked", "objects", 0, LONG_AGO);
    console_.print("half a line");
    console_.flush();
    progress.add();
    EXPECT_EQ(messages_.text, "");
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

class ActivityTest : public ProgressTest {
protected:
    /// Waits until something was written so often, or would have been by far.
    void waitUntilShown(std::size_t times)
    {
        const auto end = Progress::Clock::now() + std::chrono::seconds(30);
        while (Progress::Clock::now() < end && sink_.count() < times) {
            std::this_thread::yield();
        }
    }

    /// Written by one thread, counted by another.
    class CountingSink final : public ksrbac::ByteSink {
    public:
        void write(std::string_view bytes) override
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            text_ += bytes;
            ++count_;
        }
        [[nodiscard]] std::size_t count()
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            return count_;
        }
        [[nodiscard]] std::string text()
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            return text_;
        }

    private:
        std::mutex mutex_;
        std::string text_;
        std::size_t count_ = 0;
    };

    CountingSink sink_;
    Console shared_{results_, sink_, everywhere()};
    static constexpr std::chrono::milliseconds AT_ONCE{0};
};

TEST_F(ActivityTest, IsShownWithItsTimeAndGoesAway)
{
    shared_.nameActivity("role list");
    {
        const Activity activity(shared_, AT_ONCE);
        waitUntilShown(1);
    }
    EXPECT_EQ(sink_.text(), "\r\x1B[Krole list (0 s)\r\x1B[K");
}

TEST_F(ActivityTest, IsShownAgainWithWhatIsDoneThen)
{
    shared_.nameActivity("doctor: database");
    const Activity activity(shared_, AT_ONCE);
    waitUntilShown(1);
    shared_.nameActivity("doctor: clock");
    waitUntilShown(2);
    EXPECT_THAT(sink_.text(), testing::EndsWith("\r\x1B[Kdoctor: clock (1 s)"));
}

TEST_F(ActivityTest, LeavesTheTerminalToWhoeverTypesThere)
{
    shared_.nameActivity("role list");
    const Activity activity(shared_, AT_ONCE);
    waitUntilShown(1);
    const Activity::Pause pause;
    EXPECT_EQ(sink_.text(), "\r\x1B[Krole list (0 s)\r\x1B[K");
}

TEST_F(ActivityTest, LeavesTheLineToProgress)
{
    Progress progress(shared_, "checked", "objects", 0, LONG_AGO);
    progress.add();
    shared_.showActivity(std::chrono::seconds(3));
    EXPECT_EQ(sink_.text(), "\r\x1B[Kchecked 1 objects");
}

} // namespace
} // namespace keepsafe_test
