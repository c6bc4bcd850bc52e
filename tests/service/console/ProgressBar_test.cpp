#include "console/ProgressBar.h"

#include <chrono>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>

#include "support/Descriptor.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::ProgressBar;
using std::chrono::milliseconds;

const std::string CLEAR = "\r\x1b[K";

/// A terminal of some columns, and what was written to it.
class Terminal {
public:
    explicit Terminal(unsigned short columns) : Terminal(open(columns)) {}

    [[nodiscard]] int descriptor() const { return end_.get(); }

    /// What has come since the last call; waits for something.
    [[nodiscard]] std::string shown() const
    {
        pollfd waiting = {screen_.get(), POLLIN, 0};
        char bytes[1000];
        const bool isThere = ::poll(&waiting, 1, 60'000) == 1;
        const ssize_t size = isThere ? ::read(screen_.get(), bytes, sizeof bytes) : 0;
        return {bytes, static_cast<std::size_t>(size)};
    }
    [[nodiscard]] bool isEmpty() const
    {
        pollfd waiting = {screen_.get(), POLLIN, 0};
        return ::poll(&waiting, 1, 0) == 0;
    }

private:
    struct Ends {
        int screen = -1;
        int program = -1;
    };

    explicit Terminal(const Ends& ends) : screen_(ends.screen), end_(ends.program) {}

    static Ends open(unsigned short columns)
    {
        const winsize size = {25, columns, 0, 0};
        Ends ends;
        EXPECT_EQ(::openpty(&ends.screen, &ends.program, nullptr, nullptr, &size), 0);
        return ends;
    }

    Descriptor screen_;
    Descriptor end_;
};

TEST(ProgressBar, ShowsTheWorkAndItsShareDone)
{
    EXPECT_EQ(ProgressBar::line("generating", 0, 1000), "generating [" + std::string(40, ' ') + "] 0 %");
    EXPECT_EQ(ProgressBar::line("generating", 255, 1000),
              "generating [" + std::string(10, '#') + std::string(30, ' ') + "] 25 %");
    EXPECT_EQ(ProgressBar::line("generating", 1000, 1000), "generating [" + std::string(40, '#') + "] 100 %");
    EXPECT_EQ(ProgressBar::line("x", 3, 2), "x [" + std::string(40, '#') + "] 100 %");
}

TEST(ProgressBar, IsTheWorkAloneWhenItsSizeIsNotKnown) { EXPECT_EQ(ProgressBar::line("x", 0, 0), "x"); }

TEST(ProgressBar, IsDrawnOnATerminalAndClearedAtTheEnd)
{
    const Terminal terminal(80);
    {
        ProgressBar bar(terminal.descriptor(), milliseconds(1));
        bar.show("reading");
        EXPECT_EQ(terminal.shown(), CLEAR + "reading");
        bar.show("writing", 1, 2);
        EXPECT_EQ(terminal.shown(), CLEAR + ProgressBar::line("writing", 1, 2));
    }
    EXPECT_EQ(terminal.shown(), CLEAR);
}

TEST(ProgressBar, IsCutToTheTerminalsWidth)
{
    const Terminal terminal(5);
    ProgressBar bar(terminal.descriptor(), milliseconds(1));
    bar.show("reading");
    EXPECT_EQ(terminal.shown(), CLEAR + "read");
}

TEST(ProgressBar, SaysNothingOfShortWork)
{
    const Terminal terminal(80);
    {
        ProgressBar bar(terminal.descriptor(), std::chrono::hours(1));
        bar.show("reading");
    }
    EXPECT_TRUE(terminal.isEmpty());
}

TEST(ProgressBar, IsNotDrawnElsewhere)
{
    const TempDir folder;
    const Descriptor file = openFile(folder.path("file"), O_CREAT | O_WRONLY);
    {
        ProgressBar bar(file.get(), milliseconds(0));
        bar.show("reading");
        std::this_thread::sleep_for(milliseconds(20));
    }
    EXPECT_EQ(readFile(folder.path("file")), "");
}

} // namespace
} // namespace keepsafe_test
