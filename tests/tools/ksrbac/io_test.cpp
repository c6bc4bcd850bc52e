#include <array>
#include <csignal>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "StringSink.h"
#include "exit_status.h"
#include "io/ByteSink.h"
#include "io/Console.h"
#include "io/LineReader.h"
#include "support/Descriptor.h"
#include "support/TempDir.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using ksrbac::Console;
using ksrbac::LineReader;

class Lines : public testing::Test {
protected:
    std::vector<std::string> linesOf(const std::string& content)
    {
        writeFile(dir_.path("input"), content);
        LineReader reader(dir_.path("input"), [] {});
        std::vector<std::string> lines;
        std::string line;
        while (reader.next(line)) {
            lines.push_back(line);
            EXPECT_EQ(reader.lineNumber(), lines.size());
        }
        EXPECT_FALSE(reader.next(line)) << "the end stays the end";
        return lines;
    }

    TempDir dir_;
};

using List = std::vector<std::string>;

TEST_F(Lines, EndAtALineFeed)
{
    EXPECT_EQ(linesOf("a\nbc\n"), (List{"a", "bc"}));
    EXPECT_EQ(linesOf(""), List{});
    EXPECT_EQ(linesOf("\n"), List{""});
    EXPECT_EQ(linesOf("\n\nx\n"), (List{"", "", "x"}));
}

TEST_F(Lines, TheLastOneMayLackItsLineFeed) { EXPECT_EQ(linesOf("a\nb"), (List{"a", "b"})); }

TEST_F(Lines, KeepEveryOtherByte)
{
    EXPECT_EQ(linesOf(std::string("a\r\n \0b\n", 7)), (List{"a\r", std::string(" \0b", 3)}));
}

TEST_F(Lines, MayBeLongerThanTheBuffer)
{
    const std::string longLine(300'000, 'x');
    EXPECT_EQ(linesOf("a\n" + longLine + "\nb"), (List{"a", longLine, "b"}));
    const std::string exactly(64 * 1024 - 1, 'y');
    EXPECT_EQ(linesOf(exactly + "\nz\n"), (List{exactly, "z"}));
    EXPECT_EQ(linesOf(exactly + "y\nz\n"), (List{exactly + "y", "z"}));
}

TEST_F(Lines, ThatDoNotEndAreRefused)
{
    writeFile(dir_.path("input"), "a\n");
    ASSERT_EQ(truncate(dir_.path("input").c_str(), 65L * 1024 * 1024), 0);
    LineReader reader(dir_.path("input"), [] {});
    std::string line;
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ(std::string(thrownBy<ksrbac::InputError>([&] { (void)reader.next(line); }).what()),
              dir_.path("input") + ":2: longer than 64 MiB");
}

TEST_F(Lines, AMissingFileAndADirectoryAreErrorsWithTheirName)
{
    const auto messageFor = [](const std::string& path) -> std::string {
        const auto error = thrownBy<ksrbac::InputError>([&] {
            LineReader reader(path, [] {});
            std::string line;
            while (reader.next(line)) {
            }
        });
        return error.what();
    };
    EXPECT_EQ(messageFor(dir_.path("none")),
              "cannot read " + dir_.path("none") + ": No such file or directory");
    EXPECT_EQ(messageFor(dir_.path()), "cannot read " + dir_.path() + ": Is a directory");
}

TEST(LineReader, TellsBeforeItWaitsForInput)
{
    TempDir dir;
    const std::string fifo = dir.path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const Descriptor writer(open(fifo.c_str(), O_RDWR | O_CLOEXEC));
    int waits = 0;
    LineReader reader(fifo, [&] {
        ++waits;
        ASSERT_EQ(write(writer.get(), "more\n", 5), 5);
    });
    ASSERT_EQ(write(writer.get(), "first\nsecond\n", 13), 13);
    std::string line;
    ASSERT_TRUE(reader.next(line));
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ(waits, 0) << "input was there";
    ASSERT_TRUE(reader.next(line));
    EXPECT_EQ(line, "more");
    EXPECT_EQ(waits, 1);
}

TEST(Console, KeepsResultsAndMessagesInTheirOrder)
{
    // One sink for both, as on a terminal.
    StringSink terminal;
    Console console(terminal, terminal);
    console.print("one\n");
    console.complain("two");
    console.complainLine("three");
    console.print("four\n");
    EXPECT_EQ(terminal.text, "one\nksrbac: two\nthree\n");
    console.flush();
    EXPECT_EQ(terminal.text, "one\nksrbac: two\nthree\nfour\n");
}

TEST(Console, WritesWhenItsBufferIsFull)
{
    StringSink results;
    StringSink messages;
    Console console(results, messages);
    const std::string line(1023, 'x');
    std::string all;
    for (int i = 0; i < 200; ++i) {
        console.print(line + '\n');
        all += line + '\n';
    }
    EXPECT_GE(results.text.size(), all.size() - std::size_t{64} * 1024);
    console.flush();
    EXPECT_EQ(results.text, all);
}

TEST(DescriptorSink, TellsAClosedPipeFromOtherFailures)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor writeEnd(ends[1]);
    close(ends[0]);
    const auto before = signal(SIGPIPE, SIG_IGN);
    EXPECT_THROW(ksrbac::DescriptorSink(writeEnd.get()).write("x"), ksrbac::OutputClosed);
    (void)signal(SIGPIPE, before);

    const Descriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
    try {
        ksrbac::DescriptorSink(full.get()).write("x");
        FAIL() << "written to a full device";
    } catch (const ksrbac::OutputClosed&) {
        FAIL() << "a full device is no closed pipe";
    } catch (const ksrbac::OutputError& error) {
        EXPECT_STREQ(error.what(), "No space left on device");
    }
}

TEST(DescriptorSink, WaitsForANonBlockingDescriptor)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
    const Descriptor readEnd(ends[0]);
    const std::string text(1'000'000, 'x');
    std::thread writer([&] {
        const Descriptor writeEnd(ends[1]);
        ksrbac::DescriptorSink(writeEnd.get()).write(text);
    });
    fcntl(readEnd.get(), F_SETFL, 0);
    std::string got;
    std::array<char, 4096> buffer{};
    for (ssize_t n = 1; n > 0;) {
        n = read(readEnd.get(), buffer.data(), buffer.size());
        got.append(buffer.data(), static_cast<std::size_t>(n > 0 ? n : 0));
    }
    writer.join();
    EXPECT_EQ(got, text);
}

} // namespace
} // namespace keepsafe_test
