#include <algorithm>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "KsrbacTest.h"
#include "support/Descriptor.h"

// How `check` behaves as one end of a pipe.

namespace keepsafe_test {
namespace {

class Streaming : public KsrbacTest {
protected:
    [[nodiscard]] std::vector<std::string> checkStdin() const
    {
        return commandLine(
            {"check", "--cache=main", "--operation=|OPERATIONS|VIEW|", "--roles=17", "--objects-from=-"});
    }

    static std::string manyLines(int count)
    {
        std::string lines;
        for (int i = 0; i < count; ++i) {
            lines += "|KEEPSAFE|object-" + std::to_string(i) + "|\n";
        }
        return lines;
    }
};

/// Largest resident set of a running process so far, in KiB. The resource usage that a parent is told counts
/// the parent's own memory at the time of the start as well.
long peakKiB(pid_t pid)
{
    std::ifstream status("/proc/" + std::to_string(pid) + "/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            long value = 0;
            status >> value;
            return value;
        }
    }
    return -1;
}

TEST_F(Streaming, NeedsNoMoreMemoryForMoreLines)
{
    constexpr int batch = 500; // fits into a pipe, so that nobody waits for the other
    const std::string questions = manyLines(batch);
    Pipe in;
    Pipe out;
    // A sanitizer keeps freed memory for a while, which is not the program's.
    Process program =
        Process::start({checkStdin(),
                        in.readEnd.get(),
                        out.writeEnd.get(),
                        Command::INHERITED,
                        {"ASAN_OPTIONS=quarantine_size_mb=1:thread_local_quarantine_size_kb=64"}});
    const auto askBatches = [&](int count) {
        std::array<char, 4096> buffer{};
        for (int i = 0; i < count; ++i) {
            ASSERT_EQ(write(in.writeEnd.get(), questions.data(), questions.size()),
                      static_cast<ssize_t>(questions.size()));
            for (long answers = 0; answers < batch;) {
                const ssize_t got = read(out.readEnd.get(), buffer.data(), buffer.size());
                ASSERT_GT(got, 0);
                answers += std::count(buffer.data(), buffer.data() + got, '\n');
            }
        }
    };
    ASSERT_NO_FATAL_FAILURE(askBatches(4));
    const long few = peakKiB(program.pid());
    ASSERT_NO_FATAL_FAILURE(askBatches(600));
    const long many = peakKiB(program.pid());
    EXPECT_GT(few, 0);
    EXPECT_LE(many, few + 1024) << "KiB after 2000 and after 302000 lines";
}

TEST_F(Streaming, TakesALineOfManyMegabytes)
{
    const std::string component(8'000'000, 'x');
    const auto result =
        runProgram(checkStdin(), "|KEEPSAFE|" + component + "|\n" + component + "\n|KEEPSAFE|x|\n");
    EXPECT_EQ(result.output, "allow\t|KEEPSAFE|" + component + "|\nallow\t|KEEPSAFE|x|\n");
    EXPECT_EQ(result.errors, "<stdin>:2: not an object namespace: \"" + std::string(200, 'x') +
                                 "...\": it does not start with '|'\n");
    EXPECT_EQ(result.exitStatus, 2);
}

TEST_F(Streaming, AnswersBeforeItWaitsForTheNextQuestion)
{
    Pipe questions;
    Pipe answers;
    Process program = Process::start({checkStdin(), questions.readEnd.get(), answers.writeEnd.get()});
    for (const std::string question : {"|KEEPSAFE|1|\n", "|KEEPSAFE|2|\n"}) {
        ASSERT_EQ(write(questions.writeEnd.get(), question.data(), question.size()),
                  static_cast<ssize_t>(question.size()));
        std::array<char, 100> buffer{};
        // Would wait without end if the answer were held back.
        const ssize_t got = read(answers.readEnd.get(), buffer.data(), buffer.size());
        EXPECT_EQ(std::string(buffer.data(), static_cast<std::size_t>(got)), "allow\t" + question);
    }
}

TEST_F(Streaming, EndsQuietlyWhenNobodyReadsTheAnswers)
{
    writeFile(root_.path("questions"), manyLines(100'000));
    const Descriptor input = openFile(root_.path("questions"), O_RDONLY);
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    const Pipe answers;
    Process program = Process::start({checkStdin(), input.get(), answers.writeEnd.get(), errors.get()});
    {
        const Pipe closed; // takes the place of the answers' read end
        dup3(closed.readEnd.get(), answers.readEnd.get(), O_CLOEXEC);
    }
    EXPECT_EQ(program.wait().exitStatus, 4);
    EXPECT_EQ(readFile(root_.path("errors")), "");
}

TEST_F(Streaming, TellsWhenTheAnswersCannotBeWritten)
{
    const Descriptor input = openFile("/dev/null", O_RDONLY);
    const Descriptor full = openFile("/dev/full", O_WRONLY);
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    Process program = Process::start({commandLine({"operations"}), input.get(), full.get(), errors.get()});
    EXPECT_EQ(program.wait().exitStatus, 4);
    EXPECT_EQ(readFile(root_.path("errors")),
              "ksrbac: cannot write standard output: No space left on device\n");
}

TEST_F(Streaming, AClosedStandardOutputIsNotReplacedByAnotherFile)
{
    const std::string log = root_.path("log");
    writeFile(root_.path("etc/keepsafe.toml"), "[log]\nlevel = 4\ndestination = \"file:" + log + "\"\n");
    const Descriptor input = openFile("/dev/null", O_RDONLY);
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    Process program = Process::start({{KSRBAC_BINARY, "--root", root_.path(), "cache", "verify", "main"},
                                      input.get(),
                                      Command::CLOSED,
                                      errors.get()});
    EXPECT_EQ(program.wait().exitStatus, 4);
    EXPECT_EQ(readFile(root_.path("errors")), "ksrbac: cannot write standard output: Bad file descriptor\n");
    EXPECT_EQ(readFile(log).find("no faults"), std::string::npos);
    EXPECT_NE(readFile(log).find("instantiating memory map"), std::string::npos) << "the log is in use";
}

TEST_F(Streaming, AClosedStandardInputIsNoEmptyList)
{
    const Descriptor output = openFile(root_.path("output"), O_WRONLY | O_CREAT);
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    Process program = Process::start({checkStdin(), Command::CLOSED, output.get(), errors.get()});
    EXPECT_EQ(program.wait().exitStatus, 2);
    EXPECT_EQ(readFile(root_.path("errors")), "ksrbac: cannot read <stdin>: Bad file descriptor\n");
}

} // namespace
} // namespace keepsafe_test
