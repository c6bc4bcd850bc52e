#include "configuration.h"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>

#include "Descriptor.h"
#include "exit_status.h"
#include "log/library_logger.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

void applyRoot(const std::string& root)
{
    std::error_code error;
    if (!root.empty() && !std::filesystem::is_directory(root, error)) {
        throw InputError("--root: " + root + ": " +
                         (error ? error.message() : std::generic_category().message(ENOTDIR)));
    }
    moveRoot(root);
}

/// Whether this user is kept from reading the configuration. Everything else that is wrong with it is wrong
/// for everybody.
bool isConfigurationForbidden()
{
    const std::string path = Platform::configPath();
    const Tessara::Keepsafe::Process::Descriptor file(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return !file.isOpen() && (errno == EACCES || errno == EPERM);
}

/// The defaults where the user may not read it.
Platform::Config readConfiguration(Console& console)
{
    try {
        return Platform::loadConfig();
    } catch (const Platform::ConfigError& error) {
        if (!isConfigurationForbidden()) {
            throw InputError(error.what(), FailureKind::Configuration);
        }
        console.note(std::string(error.what()) + ": log messages go to standard error");
        return {};
    }
}

void openLog(Platform::Config config, Console& console)
{
    try {
        Platform::applyLogConfig(config, "ksrbac");
    } catch (const std::runtime_error& error) {
        console.note(std::string(error.what()) + ": log messages go to standard error");
        config.logDestination = "stderr";
        Platform::applyLogConfig(config, "ksrbac");
    }
}

} // namespace

void moveRoot(const std::string& root)
{
    if (root.empty()) {
        throw UsageError("--root: the installation root must not be empty");
    }
    Platform::setInstallationRoot(std::filesystem::absolute(root).lexically_normal().string());
}

void configure(const GlobalOptions& options, Console& console)
{
    if (options.root) {
        applyRoot(*options.root);
    }
    openLog(readConfiguration(console), console);
    if (options.logLevel) {
        Platform::setLogThreshold(*options.logLevel);
    }
    setLibraryLogger(Platform::logThreshold());
}

void requireConfiguration(const std::string& otherwise)
{
    try {
        (void)Platform::loadConfig();
    } catch (const Platform::ConfigError& error) {
        const bool isForbidden = isConfigurationForbidden();
        throw InputError("this needs the configuration: " + std::string(error.what()) +
                             (isForbidden ? ": run it as a user who may read that file" + otherwise : ""),
                         FailureKind::Configuration);
    }
}

} // namespace ksrbac
