#include "application.h"

#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <variant>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>
#include <keepsafe/platform/status/EC_exception.h>

#include "cli/command_line.h"
#include "commands/commands.h"
#include "commands/service_commands.h"
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

/// One overload per command.
struct Runner {
    bool json;
    Console& console;

    ExitStatus operator()(const ProgramText& text) const
    {
        console.print(text.text);
        return ExitStatus::Good;
    }
    ExitStatus operator()(const CheckOptions& options) const { return runCheck(options, json, console); }
    ExitStatus operator()(const CacheInfoOptions& options) const
    {
        return runCacheInfo(options, json, console);
    }
    ExitStatus operator()(const CacheVerifyOptions& options) const
    {
        return runCacheVerify(options, json, console);
    }
    ExitStatus operator()(const OperationsOptions& /*options*/) const { return runOperations(json, console); }
    ExitStatus operator()(const TokenVerifyOptions& options) const
    {
        return runTokenVerify(options, json, console);
    }
    ExitStatus operator()(const TokenShowOptions& options) const
    {
        return runTokenShow(options, json, console);
    }
    ExitStatus operator()(const TokenRolesOptions& options) const
    {
        return runTokenRoles(options, json, console);
    }
    ExitStatus operator()(const ServiceCommand& command) const
    {
        return runServiceCommand(command, json, console);
    }
};

ExitStatus run(const std::vector<std::string>& arguments, Console& console)
{
    const Invocation invocation = parseCommandLine(arguments);
    if (!std::holds_alternative<ProgramText>(invocation.command)) {
        configure(invocation.global);
    }
    const ExitStatus status = std::visit(Runner{invocation.global.json, console}, invocation.command);
    console.flush();
    return status;
}

/// Turns what the command threw into a message. Saying it writes out the answers before it, which may fail in
/// turn.
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
        return explainFailure(console);
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
