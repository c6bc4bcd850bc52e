#include "application.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "cli/command_line.h"
#include "cli/plug_in.h"
#include "commands/commands.h"
#include "doctor/verdict.h"
#include "log/library_logger.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

void applyRoot(const std::string& root)
{
    if (root.empty()) {
        throw InputError("--root: the installation root must not be empty");
    }
    Platform::setInstallationRoot(std::filesystem::absolute(root).lexically_normal().string());
}

void configure(const GlobalOptions& options)
{
    if (options.root) {
        applyRoot(*options.root);
    }
    try {
        Platform::applyLogConfig(Platform::loadConfig(), "ksrbac");
    } catch (const std::runtime_error& error) {
        throw InputError(error.what());
    }
    if (options.logLevel) {
        Platform::setLogThreshold(*options.logLevel);
    }
    setLibraryLogger(Platform::logThreshold());
}

/// The command that the arguments begin with, as far as they can be understood.
std::string commandIn(const std::vector<std::string>& arguments)
{
    const CommandTable& table = commandTable();
    for (const std::string& argument : arguments) {
        if (std::any_of(table.begin(), table.end(),
                        [&argument](const CommandRow& row) { return row.name == argument; })) {
            return argument;
        }
    }
    return "";
}

void prepare(const std::string& command, const Invocation& invocation)
{
    if (isPlugIn(command)) {
        if (invocation.global.root) {
            applyRoot(*invocation.global.root);
        }
    } else if (invocation.action.usesInstallation) {
        configure(invocation.global);
    }
}

ExitStatus run(const std::vector<std::string>& arguments, Console& console)
{
    const Invocation invocation = parseCommandLine(arguments, commandTable(), console.width());
    console.chooseColours(invocation.global.json ? ColourChoice::Never : invocation.global.colour);
    ExitStatus status = ExitStatus::Good;
    if (invocation.programText.empty()) {
        prepare(commandIn(arguments), invocation);
        status = invocation.action.run(invocation.global.json, console);
    } else {
        console.print(invocation.programText);
    }
    console.flush();
    return status;
}

/// Turns the command's exception into a message. Printing it first writes the buffered answers, which may
/// fail as well.
ExitStatus explainFailure(Console& console)
{
    try {
        throw;
    } catch (const OutputError&) {
        throw;
    } catch (const InputError& error) {
        console.complain(error.what());
        return ExitStatus::BadInput;
    } catch (const EC_exception& error) {
        console.complain("status " + std::to_string(error.status()) + ": " + error.what());
    } catch (const std::bad_alloc&) {
        console.complain("out of memory");
    } catch (const std::exception& error) {
        console.complain(error.what());
    }
    return ExitStatus::LibraryFailed;
}

ExitStatus runExplained(const std::vector<std::string>& arguments, Console& console)
{
    try {
        return run(arguments, console);
    } catch (...) {
        const ExitStatus status = explainFailure(console);
        return isPlugIn(commandIn(arguments)) ? exitStatusOf(PlugInStatus::Unknown) : status;
    }
}

} // namespace

ExitStatus runApplication(const std::vector<std::string>& arguments, Console& console) noexcept
{
    try {
        return runExplained(arguments, console);
    } catch (const OutputClosed&) {
        return ExitStatus::OutputFailed;
    } catch (const OutputError& error) {
        console.complain(std::string("cannot write standard output: ") + error.what());
        return ExitStatus::OutputFailed;
    } catch (...) {
        return ExitStatus::LibraryFailed;
    }
}

} // namespace ksrbac
