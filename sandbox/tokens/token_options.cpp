#include "tokens/token_options.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "errors/InputError.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::quoted;

namespace {

/// Seconds of a unit; 0 if it is not one.
std::int64_t secondsOf(char unit)
{
    switch (unit) {
    case 's':
        return 1;
    case 'm':
        return 60;
    case 'h':
        return 3600;
    case 'd':
        return 86400;
    default:
        return 0;
    }
}

std::int32_t parseRole(std::string_view item, std::size_t position)
{
    std::int32_t role = 0;
    const char* end = item.data() + item.size();
    const auto [stop, error] = std::from_chars(item.data(), end, role);
    if (error != std::errc() || stop != end) {
        throw InputError("--roles: item " + std::to_string(position) + ", " + quoted(std::string(item)) +
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
    std::int64_t count = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, count);
    const std::int64_t unit = stop + 1 == end ? secondsOf(*stop) : 0;
    if (error == std::errc::invalid_argument || unit == 0) {
        refuse(" is not longer than zero such as 90s, 15m, 8h or 7d");
    }
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
    if (text.empty()) {
        return roles;
    }
    std::size_t position = 1;
    for (std::size_t begin = 0; begin <= text.size(); ++position) {
        const std::size_t comma = std::min(text.find(',', begin), text.size());
        roles.push_back(parseRole(text.substr(begin, comma - begin), position));
        begin = comma + 1;
    }
    return roles;
}

} // namespace keepsafe_sandbox
