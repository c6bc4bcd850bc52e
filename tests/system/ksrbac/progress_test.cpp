#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/filelock/FileLock.h>

#include "KsrbacTest.h"
#include "support/Descriptor.h"
#include "support/PseudoTerminal.h"

// What a person sees of commands that last over a second.

namespace keepsafe_test {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

struct LongCommand {
    std::string name;
    std::vector<std::string> arguments;
};

class LongWork : public KsrbacTest {
protected:
    /// As a writer does.
    [[nodiscard]] std::unique_ptr<FileLockGuard> writeCache() const
    {
        return std::make_unique<FileLockGuard>(lock_, FileLock::EXCLUSIVE, FileLock::WAIT_FOREVER,
                                               FileLock::DEFAULT_INTERVAL);
    }
    /// With standard error at the terminal.
    [[nodiscard]] Process start(const std::vector<std::string>& arguments, const Descriptor& output,
                                const PseudoTerminal& terminal) const
    {
        std::vector<std::string> all{"env", "TERM=xterm"};
        const std::vector<std::string> command = commandLine(arguments);
        all.insert(all.end(), command.begin(), command.end());
        const Descriptor end = terminal.open();
        return Process::start({all, Command::INHERITED, output.get(), end.get()});
    }

    const FileLock lock_ = FileLockManager::instance().getLock(cacheDirectory() + "/manifest.json");
    const std::vector<LongCommand> readers_{
        {"check", {"check", "--cache=main", "--operation=|OPERATIONS|VIEW|", "--roles=17", "|KEEPSAFE|X|"}},
        {"list", {"list", "--cache=main", "--operation=|OPERATIONS|VIEW|", "--roles=17"}},
        {"who-can", {"who-can", "--cache=main", "|OPERATIONS|VIEW|", "|KEEPSAFE|X|"}},
        {"what-can", {"what-can", "--cache=main", "--roles=17", "|KEEPSAFE|X|"}},
        {"simulate", {"simulate", "--cache=main", "--inherit=|KEEPSAFE|CLOSED|=off"}},
        {"report", {"report", "--cache=main", "--output", "/dev/null"}},
        {"cache info", {"cache", "info", "main"}},
        {"cache verify", {"cache", "verify", "main"}},
        {"cache dump", {"cache", "dump", "main"}},
        {"cache diff", {"cache", "diff", "main", "main"}},
    };
};

TEST_F(LongWork, IsNamedOnATerminalWhateverItWaitsFor)
{
    const Descriptor output = openFile("/dev/null", O_WRONLY);
    for (const LongCommand& command : readers_) {
        auto writing = writeCache();
        PseudoTerminal terminal;
        Process program = start(command.arguments, output, terminal);
        const std::string line = "\r\x1B[K" + command.name + " (";
        EXPECT_THAT(terminal.shownUntil(line), HasSubstr(line));
        writing.reset();
        const std::string shown = terminal.shownAtEnd();
        EXPECT_EQ(program.wait().exitStatus, 0) << command.name << ": " << shown;
        EXPECT_EQ(shown.substr(shown.rfind(" s)") + 3, 4), "\r\x1B[K") << command.name;
    }
}

TEST_F(LongWork, IsNotNamedWhereThereIsNoTerminal)
{
    const auto writing = writeCache();
    std::vector<Process> programs;
    for (const LongCommand& command : readers_) {
        std::vector<std::string> arguments = command.arguments;
        arguments.insert(arguments.end(), {"--wait", "2"});
        programs.push_back(Process::start(commandLine(arguments), root_.path("output of " + command.name),
                                          root_.path("errors of " + command.name)));
    }
    for (std::size_t i = 0; i < programs.size(); ++i) {
        EXPECT_EQ(programs[i].wait().exitStatus, 3);
        EXPECT_THAT(readFile(root_.path("errors of " + readers_[i].name)),
                    MatchesRegex("ksrbac: note: waiting for the writer of [^\n]*\n"
                                 "ksrbac: waited 2 s for the writer of [^\n]*\n"))
            << readers_[i].name;
    }
}

/// A cache whose contents do not fit into a pipe, so that a command waits for its reader when the reader
/// likes.
class LongOutput : public LongWork {
protected:
    LongOutput()
    {
        using Tessara::Keepsafe::Rbac::ObjectNamespace;
        for (int i = 0; i < 5000; ++i) {
            model_.objects[ObjectNamespace("KEEPSAFE", "a long name of an object " + std::to_string(i))]
                .own = {{17, {3, 37}}};
        }
        CacheWriter(model_, CacheWriter::Options{}).write(temp("access-caches/large"));
    }

    /// What the terminal shows when the reader of the results waits a second before it reads them.
    [[nodiscard]] std::string shown(const std::string& name, const std::vector<std::string>& arguments) const
    {
        PseudoTerminal terminal;
        Pipe results;
        Process program = start(arguments, results.writeEnd, terminal);
        results.writeEnd.close();
        (void)terminal.shownUntil(name + " (");
        (void)readAll(results.readEnd);
        std::string text = terminal.shownAtEnd();
        (void)program.wait();
        return text;
    }
};

TEST_F(LongOutput, ShowsHowManyObjectsHaveBeenCompared)
{
    EXPECT_THAT(shown("cache diff", {"cache", "diff", "main", "large"}), HasSubstr("\r\x1B[Kcompared "));
}

} // namespace
} // namespace keepsafe_test
