#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "default_signals.h"
#include "process/Program.h"
#include "process/SignalWatch.h"
#include "support/TempDir.h"

// The program between the two phases of a registration.

namespace keepsafe_test {
namespace {

using ksrbac::Program;
using ksrbac::SignalWatch;

constexpr char VARIABLE[] = "KSRBAC_TEST=a b";

class ProgramBetweenPhases : public testing::Test {
protected:
    ProgramBetweenPhases() { useDefaultSignals(); }
};

class TheSignalWatch : public ProgramBetweenPhases {};

std::string run(const std::vector<std::string>& command)
{
    SignalWatch signals;
    return Program(command).run(VARIABLE, signals);
}

std::string runShell(const std::string& script) { return run({"sh", "-c", script}); }

TEST_F(ProgramBetweenPhases, SucceedsWithStatusZeroAlone)
{
    EXPECT_EQ(run({"true"}), "");
    EXPECT_EQ(run({"false"}), "false ended with status 1");
    EXPECT_EQ(runShell("exit 255"), "sh ended with status 255");
}

TEST_F(ProgramBetweenPhases, ASignalIsAFailure)
{
    EXPECT_EQ(runShell("kill -KILL $$"), "sh was ended by signal 9");
    EXPECT_EQ(runShell("kill -TERM $$"), "sh was ended by signal 15");
}

TEST_F(ProgramBetweenPhases, AProgramThatCannotBeStartedIsAFailure)
{
    const TempDir dir;
    writeFile(dir.path("data"), "true\n");
    EXPECT_EQ(run({"/none/program"}), "/none/program cannot be started: No such file or directory");
    EXPECT_EQ(run({dir.path("data")}), dir.path("data") + " cannot be started: Permission denied");
}

TEST_F(ProgramBetweenPhases, ArgumentsAreNotReadByAShell)
{
    const TempDir dir;
    const std::string file = dir.path("out");
    EXPECT_EQ(run({"sh", "-c", "printf '%s\\n' \"$@\" > \"$0\"", file, "a b", "$HOME", "*;x", ""}), "");
    EXPECT_EQ(readFile(file), "a b\n$HOME\n*;x\n\n");
}

TEST_F(ProgramBetweenPhases, TheVariableIsInItsEnvironmentOnce)
{
    const TempDir dir;
    ASSERT_EQ(setenv("KSRBAC_TEST", "earlier", 1), 0);
    EXPECT_EQ(runShell("env | grep ^KSRBAC_TEST= > " + dir.path("out")), "");
    EXPECT_EQ(readFile(dir.path("out")), "KSRBAC_TEST=a b\n");
}

TEST_F(ProgramBetweenPhases, ItsSignalsHaveTheirUsualEffect)
{
    // A pipe that nobody reads ends its writer, though ksrbac itself ignores SIGPIPE.
    (void)std::signal(SIGPIPE, SIG_IGN);
    EXPECT_EQ(runShell("kill -PIPE $$"), "sh was ended by signal 13");
    (void)std::signal(SIGPIPE, SIG_DFL);
}

TEST_F(ProgramBetweenPhases, ItsEndIsLearntWhateverTheCallerDidAboutSigchld)
{
    (void)std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(run({"false"}), "false ended with status 1");
    (void)std::signal(SIGCHLD, SIG_DFL);
}

TEST_F(ProgramBetweenPhases, ASignalToThisProcessGoesOnToTheProgram)
{
    for (const char* name : {"TERM", "INT", "HUP"}) {
        SignalWatch signals;
        const std::string script = std::string("kill -") + name + " $PPID; exec sleep 60";
        const std::string failure = Program({"sh", "-c", script}).run(VARIABLE, signals);
        EXPECT_EQ(failure, "sh was ended by signal " + std::to_string(signals.caught()));
        EXPECT_NE(signals.caught(), 0);
    }
}

TEST_F(ProgramBetweenPhases, ASignalThatCameBeforeKeepsItFromStarting)
{
    SignalWatch signals;
    ASSERT_EQ(raise(SIGTERM), 0);
    EXPECT_EQ(Program({"true"}).run(VARIABLE, signals), "true was not started: interrupted by signal 15");
}

TEST_F(ProgramBetweenPhases, AProgramMaySurviveASignalAndSucceed)
{
    SignalWatch signals;
    EXPECT_EQ(Program({"sh", "-c", "trap 'exit 0' TERM; kill -TERM $PPID; while :; do :; done"})
                  .run(VARIABLE, signals),
              "");
    EXPECT_EQ(signals.caught(), SIGTERM);
}

TEST_F(TheSignalWatch, LeavesWhatWasIgnoredIgnored)
{
    (void)std::signal(SIGHUP, SIG_IGN);
    {
        const SignalWatch signals;
        ASSERT_EQ(raise(SIGHUP), 0);
        EXPECT_EQ(signals.caught(), 0);
    }
    struct sigaction now = {};
    ASSERT_EQ(sigaction(SIGHUP, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, SIG_IGN);
    (void)std::signal(SIGHUP, SIG_DFL);
}

TEST_F(TheSignalWatch, BringsBackWhatWasThereBefore)
{
    {
        const SignalWatch signals;
        ASSERT_EQ(raise(SIGINT), 0);
        EXPECT_EQ(signals.caught(), SIGINT);
    }
    struct sigaction now = {};
    ASSERT_EQ(sigaction(SIGINT, nullptr, &now), 0);
    EXPECT_EQ(now.sa_handler, SIG_DFL);
}

} // namespace
} // namespace keepsafe_test
