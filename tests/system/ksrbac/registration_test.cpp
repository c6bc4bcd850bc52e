#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "sandbox/support/RunningService.h"
#include "support/Descriptor.h"
#include "support/Process.h"
#include "tools/ksrbac/default_signals.h"

// ksrbac object register and unregister, with the real service: what becomes of objects and of decisions.

namespace keepsafe_test {
namespace {

const std::string VM = "|KEEPSAFE|ASSETS|vms|vm-7|";
const std::string DISK = VM + "disk-0|";
const std::string RESTORE = "|OPERATIONS|RESTORE|";

class Registration : public testing::Test {
protected:
    Registration() { useDefaultSignals(); }

    /// Arguments that register the object with a grant for role 40, and what stands behind them.
    static std::vector<std::string> registerVm(const std::vector<std::string>& more = {})
    {
        std::vector<std::string> arguments{
            "object",    "register",         VM,
            "--type=VM", "--child=|disk-0|", "--grant=40:" + RESTORE + ":OBJECT_AND_CHILDREN"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }
    static std::vector<std::string> shell(const std::string& script)
    {
        return {"--exec", "sh", "--", "-c", script};
    }

    /// READY or PENDING; "gone" when the service does not know the object.
    [[nodiscard]] std::string stateOf(const std::string& object) const
    {
        const ProgramResult result = root_.tool({"object", "get", object, "--json"});
        const std::string begin = "\"state\":\"";
        const std::size_t at = result.output.find(begin);
        if (at == std::string::npos) {
            EXPECT_NE(result.errors.find("HTTP status 404"), std::string::npos) << result.errors;
            return "gone";
        }
        return result.output.substr(at + begin.size(), result.output.rfind('"') - at - begin.size());
    }
    [[nodiscard]] std::vector<std::string> checkVm(const std::string& object = VM) const
    {
        return {"check", "--operation", RESTORE, "--roles=40", object};
    }
    [[nodiscard]] std::string decision(const std::string& object = VM) const
    {
        const std::string answer = root_.tool(checkVm(object)).output;
        return answer.substr(0, answer.find('\t'));
    }

    /// Runs the command and expects it to fail with the beginning of a message.
    void expectFailure(const std::vector<std::string>& arguments, const std::string& message) const
    {
        const ProgramResult result = root_.tool(arguments);
        EXPECT_EQ(result.exitStatus, 3);
        EXPECT_EQ(result.errors.substr(0, message.size()), message);
    }

    RunningService root_{KEEPSAFE_EXAMPLE_POLICIES "/company.json"};
};

TEST_F(Registration, ACommitBringsTheGrants)
{
    EXPECT_EQ(decision(), "deny");
    const ProgramResult result = root_.tool(registerVm(shell("echo at work on $KSRBAC_OBJECT")));
    EXPECT_EQ(result.output, "at work on " + VM + '\n');
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(stateOf(VM), "READY");
    EXPECT_EQ(stateOf(DISK), "READY");
    EXPECT_EQ(decision(), "allow");
    EXPECT_EQ(decision(DISK), "allow");
}

TEST_F(Registration, TheObjectIsPendingAndGrantsNothingWhileTheProgramRuns)
{
    std::vector<std::string> check{"--exec", KSRBAC_BINARY, "--", "--root", root_.path()};
    const auto question = checkVm();
    check.insert(check.end(), question.begin(), question.end());
    const ProgramResult denied = root_.tool(registerVm(check));
    EXPECT_EQ(denied.output, "deny\t" + VM + '\n');
    EXPECT_EQ(denied.exitStatus, 3); // the check's 1 rolls back
    EXPECT_EQ(stateOf(VM), "gone");

    const ProgramResult shown =
        root_.tool(registerVm({"--exec", KSRBAC_BINARY, "--", "--root", root_.path(), "object", "get", VM}));
    EXPECT_EQ(shown.output, "OBJECT                      INHERIT  STATE\n" + VM + "  on       PENDING\n");
    EXPECT_EQ(shown.exitStatus, 0);
    EXPECT_EQ(stateOf(VM), "READY");
}

TEST_F(Registration, ARollBackLeavesNothing)
{
    const std::string begin = "ksrbac: object register " + VM +
                              ": status 8022: the registration was rolled back because its callback failed (";
    expectFailure(registerVm(shell("exit 3")), begin + "sh ended with status 3)\n");
    expectFailure(registerVm(shell("kill -KILL $$")), begin + "sh was ended by signal 9)\n");
    expectFailure(registerVm({"--exec=/none/program"}),
                  begin + "/none/program cannot be started: No such file or directory)\n");
    EXPECT_EQ(stateOf(VM), "gone");
    EXPECT_EQ(stateOf(DISK), "gone");
    EXPECT_EQ(decision(), "deny");
}

TEST_F(Registration, ASignalToTheToolEndsTheProgramAndRollsBack)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        const Pipe output;
        std::vector<std::string> arguments{KSRBAC_BINARY, "--root", root_.path()};
        const auto command = registerVm(shell("echo ready; exec sleep 60"));
        arguments.insert(arguments.end(), command.begin(), command.end());
        Process program = Process::start({arguments, Command::INHERITED, output.writeEnd.get()});
        ASSERT_EQ(readLine(output.readEnd), "ready");
        program.signal(signal);
        EXPECT_EQ(program.wait().exitStatus, 3);
        EXPECT_EQ(stateOf(VM), "gone");
    }
}

/// One end of a terminal that nobody uses; the other is opened by its name.
Descriptor openTerminal()
{
    Descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    EXPECT_EQ(grantpt(terminal.get()), 0);
    EXPECT_EQ(unlockpt(terminal.get()), 0);
    return terminal;
}

/// Starts a program in its own session at the other end of the terminal.
Process startAt(const Descriptor& terminal, std::vector<std::string> arguments)
{
    const std::string name = ptsname(terminal.get());
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return Process::fork([&] {
        setsid();
        const int descriptor = open(name.c_str(), O_RDWR); // becomes the terminal of the new session
        dup2(descriptor, STDIN_FILENO);
        dup2(descriptor, STDOUT_FILENO);
        dup2(descriptor, STDERR_FILENO);
        return execv(pointers.front(), pointers.data());
    });
}

TEST_F(Registration, AKeystrokeEndsTheProgramAndRollsBack)
{
    std::vector<std::string> arguments{KSRBAC_BINARY, "--root", root_.path()};
    const auto command = registerVm(shell("echo ready; exec sleep 60"));
    arguments.insert(arguments.end(), command.begin(), command.end());
    const Descriptor terminal = openTerminal();
    Process tool = startAt(terminal, arguments);
    ASSERT_EQ(readLine(terminal), "ready\r");
    ASSERT_EQ(write(terminal.get(), "\x03", 1), 1);
    std::string message;
    for (std::string line = readLine(terminal); !line.empty(); line = readLine(terminal)) {
        message += line;
    }
    EXPECT_NE(message.find("status 8022: "), std::string::npos) << message;
    EXPECT_NE(message.find("(sh was ended by signal 2)"), std::string::npos) << message;
    EXPECT_EQ(tool.wait().exitStatus, 3);
    EXPECT_EQ(stateOf(VM), "gone");
}

TEST_F(Registration, AnObjectLeftPendingByADeathCanBeRegisteredAgain)
{
    const Pipe output;
    std::vector<std::string> arguments{KSRBAC_BINARY, "--root", root_.path()};
    const auto command = registerVm(shell("echo ready; exec cat")); // ends with the tool: its input does
    arguments.insert(arguments.end(), command.begin(), command.end());
    {
        const Pipe input;
        Process program = Process::start({arguments, input.readEnd.get(), output.writeEnd.get()});
        ASSERT_EQ(readLine(output.readEnd), "ready");
        program.signal(SIGKILL);
        EXPECT_EQ(program.wait().signal, SIGKILL);
    }
    EXPECT_EQ(stateOf(VM), "PENDING");
    EXPECT_EQ(decision(), "deny");
    EXPECT_EQ(root_.tool(registerVm()).exitStatus, 3);
    EXPECT_EQ(root_.tool(registerVm({"--ignore-registered"})).exitStatus, 0);
    EXPECT_EQ(stateOf(VM), "READY");
    EXPECT_EQ(decision(), "allow");
}

TEST_F(Registration, TheServiceRefusesAnObjectThatIsThere)
{
    ASSERT_EQ(root_.tool(registerVm()).exitStatus, 0);
    expectFailure(registerVm({"--exec", "touch", "--", root_.path("touched")}),
                  "ksrbac: object register " + VM +
                      ": status 20: an argument has a value that is not allowed (HTTP status 409: ");
    EXPECT_NE(access(root_.path("touched").c_str(), F_OK), 0);
    EXPECT_EQ(stateOf(VM), "READY");
}

TEST_F(Registration, AServiceThatDiesBetweenThePhasesLeavesTheObjectPending)
{
    expectFailure(registerVm(shell("kill -KILL " + std::to_string(root_.pid()))),
                  "ksrbac: object register " + VM +
                      ": status 8024: the change could not be committed after its callback succeeded (");
    root_.start();
    EXPECT_EQ(stateOf(VM), "PENDING");
    EXPECT_EQ(root_.tool({"object", "unregister", VM}).exitStatus, 0);
    EXPECT_EQ(stateOf(VM), "gone");
}

TEST_F(Registration, UnregisteringTakesTheObjectAndItsGrantsAway)
{
    ASSERT_EQ(root_.tool(registerVm()).exitStatus, 0);
    expectFailure({"object", "unregister", VM, "--exec=false"},
                  "ksrbac: object unregister " + VM +
                      ": status 8023: the unregistration was rolled back because its callback failed (false "
                      "ended with status 1)\n");
    EXPECT_EQ(decision(), "allow");
    const ProgramResult result = root_.tool({"object", "unregister", VM, "--exec=true"});
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(stateOf(VM), "gone");
    EXPECT_EQ(stateOf(DISK), "gone");
    EXPECT_EQ(decision(), "deny");
}

class Bulk : public Registration {
protected:
    static std::string vm(int number) { return "|KEEPSAFE|ASSETS|vms|bulk-" + std::to_string(number) + '|'; }
    static std::string records(int count)
    {
        std::string text;
        for (int i = 0; i < count; ++i) {
            text += (i == 0 ? "[" : ",") + std::string(R"({"namespace":")") + vm(i) +
                    R"(","type":"VM","grants":[{"role":40,"operations":[")" + RESTORE + "\"]}]}";
        }
        return text + ']';
    }
};

TEST_F(Bulk, RegistersManyObjectsFromStandardInput)
{
    constexpr int count = 1000;
    const ProgramResult result = root_.tool({"object", "register", "--bulk", "-"}, records(count));
    EXPECT_EQ(result.output + result.errors, "");
    EXPECT_EQ(result.exitStatus, 0);
    EXPECT_EQ(stateOf(vm(0)), "READY");
    EXPECT_EQ(decision(vm(0)), "allow");
    EXPECT_EQ(decision(vm(count - 1)), "allow");
}

TEST_F(Bulk, EachObjectIsCommittedOrRolledBackByItsOwnProgram)
{
    writeFile(root_.path("objects.json"), records(3));
    std::vector<std::string> arguments{"object", "register", "--bulk", root_.path("objects.json")};
    const auto program = shell("test $KSRBAC_OBJECT != '" + vm(1) + '\'');
    arguments.insert(arguments.end(), program.begin(), program.end());
    const ProgramResult result = root_.tool(arguments);
    EXPECT_EQ(result.errors, "ksrbac: object register --bulk: " + vm(1) +
                                 ": sh ended with status 1\nksrbac: object register --bulk: status 8022: the "
                                 "registration was rolled back because its callback failed (1 of 3 objects "
                                 "failed)\n");
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_EQ(stateOf(vm(0)) + ' ' + stateOf(vm(1)) + ' ' + stateOf(vm(2)), "READY gone READY");
}

TEST_F(Bulk, AllObjectsAreRefusedWhenOneIs)
{
    ASSERT_EQ(root_.tool({"object", "register", vm(1), "--type=VM"}).exitStatus, 0);
    const ProgramResult result = root_.tool({"object", "register", "--bulk", "-"}, records(3));
    EXPECT_EQ(result.exitStatus, 3);
    EXPECT_NE(result.errors.find("object " + vm(1) + " is registered already"), std::string::npos)
        << result.errors;
    EXPECT_EQ(stateOf(vm(0)), "gone");
}

} // namespace
} // namespace keepsafe_test
