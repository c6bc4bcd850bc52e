#include <keepsafe/platform/config/config.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/log_sink.h>

#include "config_file.h"

namespace Tessara::Keepsafe::Platform {
namespace {

/// Far more than any configuration needs; a file beyond it is not one.
constexpr std::size_t MAX_SIZE = 1U << 20U;

[[noreturn]] void failToRead(const std::string& path, const std::string& reason)
{
    throw ConfigError("cannot read \"" + path + "\": " + reason);
}

[[noreturn]] void failToRead(const std::string& path, int errorNumber)
{
    failToRead(path, std::generic_category().message(errorNumber));
}

class Descriptor {
public:
    explicit Descriptor(int number) noexcept : number_(number) {}
    ~Descriptor()
    {
        if (number_ >= 0) {
            ::close(number_);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    [[nodiscard]] int number() const noexcept { return number_; }

private:
    int number_;
};

/// A link that leads nowhere is not a missing file: somebody meant there to be one.
bool isMissing(const std::string& path)
{
    struct stat status {};
    return ::lstat(path.c_str(), &status) != 0 && errno == ENOENT;
}

void requireRegularFile(const std::string& path, int descriptor)
{
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        failToRead(path, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        failToRead(path, EISDIR);
    }
    if (!S_ISREG(status.st_mode)) {
        failToRead(path, "not a regular file");
    }
}

std::string readAll(const std::string& path, int descriptor)
{
    std::string text;
    std::array<char, 4096> block;
    for (;;) {
        const ssize_t got = ::read(descriptor, block.data(), block.size());
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            failToRead(path, errno);
        }
        if (got == 0) {
            return text;
        }
        text.append(block.data(), static_cast<std::size_t>(got));
        if (text.size() > MAX_SIZE) {
            failToRead(path, "larger than " + std::to_string(MAX_SIZE) + " bytes");
        }
    }
}

} // namespace

ConfigError::~ConfigError() = default;

std::string configPath() { return installationRoot() + "/etc/keepsafe.toml"; }

namespace detail {

Config loadConfigFrom(const std::string& path)
{
    // Without O_NONBLOCK a FIFO in the file's place would wait for a writer.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (file.number() < 0) {
        const int errorNumber = errno;
        if (errorNumber == ENOENT && isMissing(path)) {
            return {};
        }
        failToRead(path, errorNumber);
    }
    requireRegularFile(path, file.number());
    return parseConfig(readAll(path, file.number()), path);
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
