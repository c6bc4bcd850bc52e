#include "application.h"

#include <algorithm>
#include <cstddef>
#include <string>

#include "cli/command_line.h"
#include "cli/plug_in.h"
#include "commands/commands.h"
#include "configuration.h"
#include "doctor/verdict.h"
#include "exit_status.h"
#include "io/Activity.h"
#include "io/WriterWait.h"
#include "log/HeardErrors.h"

namespace ksrbac {

namespace {

using Arguments = std::vector<std::string>;

void prepare(const Invocation& invocation, const std::string& command, Console& console)
{
    if (isPlugIn(command)) {
        if (invocation.global.root) {
            moveRoot(*invocation.global.root);
        }
    } else if (invocation.action.usesInstallation) {
        configure(invocation.global, console);
    }
}

ExitStatus runCommand(const Invocation& invocation, const std::string& command, Console& console)
{
    console.nameActivity(command);
    const Activity activity(console);
    prepare(invocation, command, console);
    const HeardErrors errors;
    WriterWait wait(console, invocation.global.waitSeconds); // not const: the library calls it
    try {
        const ExitStatus status = invocation.action.run(invocation.global.json, console);
        wait.requireLocks();
        return status;
    } catch (const OutputError&) {
        throw;
    } catch (...) {
        wait.requireLocks();
        throw CommandFailure(currentFailure(errors.last()));
    }
}

ExitStatus run(const Invocation& invocation, const std::string& command, Console& console)
{
    console.chooseColours(invocation.global.json ? ColourChoice::Never : invocation.global.colour);
    ExitStatus status = ExitStatus::Good;
    if (invocation.programText.empty()) {
        status = runCommand(invocation, command, console);
    } else {
        console.print(invocation.programText);
    }
    console.flush();
    return status;
}

/// Reports the exception that is being handled. That writes the buffered answers first, which may fail as
/// well.
ExitStatus report(const std::string& command, bool detailed, Console& console)
{
    const Failure failure = currentFailure("");
    const ExitStatus status = exitStatusOf(failure, detailed);
    console.fail(failure, command, status);
    return status;
}

/// The command that the arguments begin with, as far as they can be understood.
std::string commandIn(const Arguments& arguments)
{
    const CommandTable& table = commandTable();
    const auto isCommand = [&table](const std::string& name) {
        return std::any_of(table.begin(), table.end(),
                           [&name](const CommandRow& row) { return row.name == name; });
    };
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (i + 1 < arguments.size() && isCommand(arguments[i] + ' ' + arguments[i + 1])) {
            return arguments[i] + ' ' + arguments[i + 1];
        }
        if (isCommand(arguments[i])) {
            return arguments[i];
        }
    }
    return "";
}

/// Whether messages are to be JSON, also those about a command line that is not understood.
bool isJsonWanted(const Arguments& arguments)
{
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

ExitStatus runReported(const Arguments& arguments, Console& console)
{
    Invocation invocation;
    try {
        invocation = parseCommandLine(arguments, commandTable(), console.width());
        return run(invocation, commandIn(arguments), console);
    } catch (const OutputError&) {
        throw;
    } catch (...) {
        const ExitStatus status = report(commandIn(arguments), invocation.global.detailedExitStatus, console);
        return isPlugIn(commandIn(arguments)) ? exitStatusOf(PlugInStatus::Unknown) : status;
    }
}

} // namespace

ExitStatus runApplication(const std::vector<std::string>& arguments, Console& console) noexcept
{
    try {
        if (isJsonWanted(arguments)) {
            console.useJson();
        }
        return runReported(arguments, console);
    } catch (const OutputClosed&) {
        return ExitStatus::OutputFailed;
    } catch (const OutputError& error) {
        const std::string message = std::string("cannot write standard output: ") + error.what();
        console.fail({FailureKind::Output, message}, commandIn(arguments), ExitStatus::OutputFailed);
        return ExitStatus::OutputFailed;
    } catch (...) {
        return ExitStatus::LibraryFailed;
    }
}

} // namespace ksrbac
