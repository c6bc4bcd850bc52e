#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "sandbox/support/SandboxRoot.h"
#include "support/Descriptor.h"
#include "support/Process.h"
#include "support/PseudoTerminal.h"
#include "support/TempDir.h"

/// What a person sees of commands of ksrbac-sandbox that last over a second.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;
using testing::Not;

class LongSandboxWork : public testing::Test {
protected:
    LongSandboxWork() { EXPECT_EQ(root_.sandbox({"init"}).exitStatus, 0); }

    [[nodiscard]] std::vector<std::string> command(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), SandboxRoot::sandboxProgram());
        arguments.insert(arguments.end(), {"--root", root_.path()});
        return arguments;
    }
    /// With standard error at the terminal.
    [[nodiscard]] Process start(const std::vector<std::string>& arguments, int input,
                                const PseudoTerminal& terminal) const
    {
        const Descriptor output = openFile("/dev/null", O_WRONLY);
        const Descriptor end = terminal.open();
        return Process::start({command(arguments), input, output.get(), end.get()});
    }

    SandboxRoot root_;
};

TEST_F(LongSandboxWork, ThatReadsAPolicyShowsIt)
{
    const std::string policy = readFile(KEEPSAFE_EXAMPLE_POLICIES "/company.json");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"compile", "-", "--id", "a"}, {"import", "-"}}) {
        PseudoTerminal terminal;
        Pipe input;
        Process program = start(arguments, input.readEnd.get(), terminal);
        input.readEnd.close();
        EXPECT_THAT(terminal.shownUntil("reading the policy"), HasSubstr("\r\x1B[Kreading the policy"))
            << arguments.front();
        ASSERT_EQ(write(input.writeEnd.get(), policy.data(), policy.size()),
                  static_cast<ssize_t>(policy.size()));
        input.writeEnd.close();
        EXPECT_EQ(program.wait().exitStatus, 0);
        EXPECT_EQ(terminal.shownAtEnd().substr(terminal.shownAtEnd().size() - 4), "\r\x1B[K");
    }
}

TEST_F(LongSandboxWork, ThatWaitsForReadersShowsThatItWrites)
{
    const std::vector<std::string> generate{"generate", "--objects", "100", "--id", "a"};
    ASSERT_EQ(runProgram(command(generate)).exitStatus, 0);
    const FileLock lock =
        FileLockManager::instance().getLock(root_.path("wmc/webserver/temp/access-caches/a/manifest.json"));
    auto reading = std::make_unique<FileLockGuard>(lock, FileLock::SHARED, FileLock::WAIT_FOREVER,
                                                   FileLock::DEFAULT_INTERVAL);
    PseudoTerminal terminal;
    Process program = start(generate, Command::INHERITED, terminal);
    EXPECT_THAT(terminal.shownUntil("writing"), HasSubstr("\r\x1B[Kwriting"));
    reading.reset();
    EXPECT_EQ(program.wait().exitStatus, 0);
}

TEST_F(LongSandboxWork, ShowsNothingWhereThereIsNoTerminal)
{
    const FileLock lock = FileLockManager::instance().getLock(
        root_.path("wmc/webserver/temp/operation-cache.json.lck"), FileLock::MissingFile::IsCreated);
    auto writing = std::make_unique<FileLockGuard>(lock, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                                   FileLock::DEFAULT_INTERVAL);
    PseudoTerminal terminal;
    Process seen = start({"generate", "--objects", "100", "--id", "seen"}, Command::INHERITED, terminal);
    Process unseen = Process::start(command({"generate", "--objects", "100", "--id", "unseen"}),
                                    root_.path("output"), root_.path("errors"));
    (void)terminal.shownUntil("writing");
    writing.reset();
    EXPECT_EQ(seen.wait().exitStatus, 0);
    EXPECT_EQ(unseen.wait().exitStatus, 0);
    EXPECT_THAT(readFile(root_.path("errors")), Not(HasSubstr("\x1B")));
}

} // namespace
} // namespace keepsafe_test
