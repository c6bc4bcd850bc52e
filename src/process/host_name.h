#ifndef KEEPSAFE_SRC_PROCESS_HOST_NAME_H
#define KEEPSAFE_SRC_PROCESS_HOST_NAME_H

#include <string_view>

namespace Tessara::Keepsafe::Process {

/// Whether a text may be used as a host name or an address: nothing in it ends a host in a URL or has another
/// meaning there ("@", "%", "/", "["). The empty text passes.
inline bool hasOnlyHostCharacters(std::string_view text) noexcept
{
    constexpr std::string_view ALLOWED = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._:";
    return text.find_first_not_of(ALLOWED) == std::string_view::npos;
}

} // namespace Tessara::Keepsafe::Process

#endif
