#ifndef KEEPSAFE_SANDBOX_TOKENS_TOKEN_OPTIONS_H
#define KEEPSAFE_SANDBOX_TOKENS_TOKEN_OPTIONS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace keepsafe_sandbox {

/// Longest lifetime of a token, in either direction.
constexpr std::chrono::hours MOST_LIFETIME{24 * 3650};

/// A time such as 90s, 15m, 8h or 7d; with a minus sign, the time for which a token has been expired. Throws
/// `InputError` for anything else, for zero and for more than `MOST_LIFETIME`.
[[nodiscard]] std::chrono::milliseconds parseLifetime(std::string_view text);

/// Role ids such as 17,3; an empty text means no roles. Throws `InputError` that names the item which is not
/// a decimal number or does not fit into 32 bits.
[[nodiscard]] std::vector<std::int32_t> parseRoles(std::string_view text);

} // namespace keepsafe_sandbox

#endif
