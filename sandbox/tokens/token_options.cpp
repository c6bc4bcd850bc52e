#include "tokens/token_options.h"

#include <cstddef>
#include <system_error>

#include "decimal.h"
#include "errors/InputError.h"
#include "split.h"
#include "time_units.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::quoted;
using Tessara::Keepsafe::Text::parseDecimal;
using Tessara::Keepsafe::Text::secondsOf;
using Tessara::Keepsafe::Text::split;

namespace {

constexpr std::string_view UNITS = "smhd";

std::int32_t parseRole(const std::string& item, std::size_t position)
{
    std::int32_t role = 0;
    if (parseDecimal(item, role) != std::errc()) {
        throw InputError("--roles: item " + std::to_string(position) + ", " + quoted(item) +
                         ", is not a role id of 32 bits");
    }
    return role;
}

} // namespace

std::chrono::milliseconds parseLifetime(std::string_view text)
{
    const auto refuse = [text](const char* what) {
        throw InputError("--lifetime: " + quoted(std::string(text)) + what);
    };
    const bool hasUnit = !text.empty() && UNITS.find(text.back()) != std::string_view::npos;
    std::int64_t count = 0;
    const std::errc error =
        hasUnit ? parseDecimal(text.substr(0, text.size() - 1), count) : std::errc::invalid_argument;
    if (error == std::errc::invalid_argument) {
        refuse(" is not longer than zero such as 90s, 15m, 8h or 7d");
    }
    const std::int64_t unit = secondsOf(text.back());
    const std::int64_t most = std::chrono::seconds(MOST_LIFETIME).count() / unit;
    if (error != std::errc() || count > most || count < -most) {
        refuse(" is more than 3650 days");
    }
    if (count == 0) {
        refuse(" is not longer than zero");
    }
    return std::chrono::seconds(count * unit);
}

std::vector<std::int32_t> parseRoles(std::string_view text)
{
    std::vector<std::int32_t> roles;
    if (!text.empty()) {
        for (const std::string& item : split(std::string(text), ',')) {
            roles.push_back(parseRole(item, roles.size() + 1));
        }
    }
    return roles;
}

} // namespace keepsafe_sandbox
