#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "sandbox/support/RunningService.h"
#include "support/Descriptor.h"
#include "support/Process.h"
#include "tools/ksrbac/default_signals.h"

// ksrbac changes --follow with the service as a process that goes away and comes back.

namespace keepsafe_test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

class FollowedChanges : public testing::Test {
protected:
    FollowedChanges() { useDefaultSignals(); }

    [[nodiscard]] Process follow(const std::vector<std::string>& more) const
    {
        std::vector<std::string> arguments{KSRBAC_BINARY, "--root",  root_.path(), "--log-level",
                                           "17",          "changes", "--follow"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return Process::start(arguments, root_.path("output"), root_.path("errors"));
    }
    [[nodiscard]] std::string output() const { return readFile(root_.path("output")); }
    [[nodiscard]] std::string errors() const { return readFile(root_.path("errors")); }

    /// Until the file has the text, or would have it by far.
    static void await(const std::string& file, const std::string& text)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (readFile(file).find(text) == std::string::npos && std::chrono::steady_clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ASSERT_THAT(readFile(file), HasSubstr(text));
    }
    void createRole(const std::string& name) const
    {
        EXPECT_EQ(root_.tool({"role", "create", name}).exitStatus, 0);
    }
    void awaitRole(const std::string& name) const { await(root_.path("output"), " created: " + name + '\n'); }

    RunningService root_{KEEPSAFE_EXAMPLE_POLICIES "/company.json"};
};

TEST_F(FollowedChanges, ComeAsTheyAreMadeEachOnceAlsoWhenTheServiceIsKilledInBetween)
{
    createRole("before");
    Process program = follow({});
    await(root_.path("output"), "WHAT\n");
    createRole("first");
    awaitRole("first");
    root_.kill();
    await(root_.path("errors"), "asking again until it answers\n");
    root_.start();
    createRole("second");
    createRole("third");
    awaitRole("third");
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait().exitStatus, 0);
    EXPECT_THAT(output(), MatchesRegex("REVISION  TIME  +WHO  +WHAT\n"
                                       " *[0-9]+  [^\n]* role 52 created: first\n"
                                       " *[0-9]+  [^\n]* role 53 created: second\n"
                                       " *[0-9]+  [^\n]* role 54 created: third\n"));
    EXPECT_THAT(errors(), MatchesRegex("ksrbac: note: changes: transfer status [^\n]*; asking again until it "
                                       "answers\nksrbac: note: changes: the service answers again\n"));
}

TEST_F(FollowedChanges, AreJsonObjectsAndEndWithSigint)
{
    Process program = follow({"--json", "--since", "1d", "--object", "|KEEPSAFE|STORAGE|"});
    await(root_.path("output"), "accessDefinitionAdded");
    EXPECT_EQ(
        root_.tool({"access", "add", "|KEEPSAFE|STORAGE|", "--role=17", "--operations=|OPERATIONS|VIEW|"})
            .exitStatus,
        0);
    await(root_.path("output"), R"("who":"CN=ksrbac-sandbox host","what":"accessDefinitionAdded")");
    program.signal(SIGINT);
    const ProcessEnd end = program.wait();
    EXPECT_EQ(end.exitStatus, 0);
    EXPECT_EQ(errors(), "");
    EXPECT_THAT(output(), EndsWith("}\n"));
}

TEST_F(FollowedChanges, EndQuietlyWhenNobodyReadsThemAnyMore)
{
    Pipe pipe;
    const Descriptor errors = openFile(root_.path("errors"), O_WRONLY | O_CREAT);
    Process program =
        Process::start({{KSRBAC_BINARY, "--root", root_.path(), "--log-level", "17", "changes", "--follow"},
                        Command::INHERITED,
                        pipe.writeEnd.get(),
                        errors.get()});
    pipe.writeEnd.close();
    char header[8];
    ASSERT_EQ(read(pipe.readEnd.get(), header, sizeof header), static_cast<ssize_t>(sizeof header));
    pipe.readEnd.close();
    EXPECT_EQ(program.wait().exitStatus, 4) << "without a change to print";
    EXPECT_EQ(readFile(root_.path("errors")), "");
}

} // namespace
} // namespace keepsafe_test
