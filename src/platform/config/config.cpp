#include <keepsafe/platform/config/config.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <utility>

#include <sys/stat.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>

#include "config_file.h"
#include "read_file.h"

namespace Tessara::Keepsafe::Platform {
namespace {

/// Far more than any configuration needs; a larger file is not a configuration.
constexpr std::size_t MAX_SIZE = 1U << 20U;

[[noreturn]] void failToRead(const std::string& path, const std::string& reason)
{
    throw ConfigError("cannot read \"" + path + "\": " + reason);
}

[[noreturn]] void failToRead(const std::string& path, int failure)
{
    failToRead(path, Process::failureText(failure));
}

/// A dangling link is not a missing file: somebody meant a file to be there.
bool isMissing(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

} // namespace

ConfigError::~ConfigError() = default;

std::string configPath() { return installationRoot() + "/etc/keepsafe.toml"; }

namespace detail {

Config loadConfigFrom(const std::string& path)
{
    int failure = 0;
    const Process::Descriptor file = Process::openTrustedFile(path, failure);
    if (!file.isOpen()) {
        if (failure == ENOENT && isMissing(path)) {
            return {};
        }
        failToRead(path, failure);
    }
    std::string text;
    failure = Process::readAll(file, text, MAX_SIZE);
    if (failure == EFBIG) {
        failToRead(path, "larger than " + std::to_string(MAX_SIZE) + " bytes");
    }
    if (failure != 0) {
        failToRead(path, failure);
    }
    return parseConfig(text, path);
}

} // namespace detail

Config loadConfig() { return detail::loadConfigFrom(configPath()); }

void applyLogConfig(const Config& config, const std::string& program)
{
    const std::string filePrefix = "file:";
    std::shared_ptr<LogSink> sink;
    if (config.logDestination == "syslog") {
        sink = makeSyslogSink(program);
    } else if (config.logDestination.rfind(filePrefix, 0) == 0) {
        sink = makeFileSink(config.logDestination.substr(filePrefix.size()));
    } else {
        sink = makeStderrSink();
    }
    setLogSink(std::move(sink));
    setLogThreshold(config.logThreshold);
}

} // namespace Tessara::Keepsafe::Platform
