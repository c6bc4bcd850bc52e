#include "token_parts.h"

#include <cstddef>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

namespace Tessara::Keepsafe {

bool findParts(std::string_view token, TokenParts& parts)
{
    constexpr std::size_t NONE = std::string_view::npos;
    const std::size_t first = token.find('.');
    const std::size_t second = first == NONE ? NONE : token.find('.', first + 1);
    if (second == NONE || token.find('.', second + 1) != NONE) {
        logmsgf(Platform::LOG_LEVEL_ERROR, "JWT::tokenizeJWT", "JWT Token is invalid");
        return false;
    }
    parts.header = token.substr(0, first);
    parts.payload = token.substr(first + 1, second - first - 1);
    parts.signature = token.substr(second + 1);
    parts.signedText = token.substr(0, second);
    return true;
}

int splitToken(std::string_view token, TokenParts& parts)
{
    const bool isWhole = findParts(token, parts) && !parts.header.empty() && !parts.payload.empty() &&
                         !parts.signature.empty();
    return isWhole ? Status::SUCCESS : Status::TOKEN_INVALID;
}

} // namespace Tessara::Keepsafe
