#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include <keepsafe/platform/config/config.h>

#include "require.h"

namespace {

namespace Platform = Tessara::Keepsafe::Platform;
using Platform::Config;

/// Drops a decimal number of at least 1 and a colon from the front.
bool dropPosition(std::string_view& text)
{
    const std::size_t digits = text.find_first_not_of("0123456789");
    if (digits == 0 || digits == std::string_view::npos || text[0] == '0' || text[digits] != ':') {
        return false;
    }
    text.remove_prefix(digits + 1);
    return true;
}

void checkMessage(std::string_view message)
{
    constexpr std::string_view NAME = "keepsafe.toml:";
    require(message.substr(0, NAME.size()) == NAME, "an error names the file");
    message.remove_prefix(NAME.size());
    require(dropPosition(message), "an error names the line");
    require(dropPosition(message), "an error names the column");
    require(message.size() > 1 && message[0] == ' ', "an error says what is wrong");
}

void checkConfig(const Config& config)
{
    require(config.masterServer.size() <= 256, "a server name fits the callers' buffer");
    require(config.masterServer.find('\0') == std::string::npos, "a server name is one C string");
    require(config.enabledFeatures.empty() || *config.enabledFeatures.begin() >= 1, "features count from 1");
    require(config.logThreshold >= 0 && config.logThreshold <= 16, "errors cannot be silenced");
    require(config.logDestination == "stderr" || config.logDestination == "syslog" ||
                config.logDestination.compare(0, 6, "file:/") == 0,
            "the log's destination is one of three kinds");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    try {
        checkConfig(Platform::parseConfig(std::string(data, data + size), "keepsafe.toml"));
    } catch (const Platform::ConfigError& error) {
        checkMessage(error.what());
    }
    return 0;
}
