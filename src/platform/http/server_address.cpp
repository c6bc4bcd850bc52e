#include "server_address.h"

#include <algorithm>
#include <string_view>

namespace Tessara::Keepsafe::Platform::http {
namespace {

/// No character that ends a host in a URL or that means something else there ("@", "%", "/", "[").
bool isHostCharacter(char character)
{
    constexpr std::string_view PUNCTUATION = "-._:";
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') || PUNCTUATION.find(character) != std::string_view::npos;
}

bool isPathByte(char byte) { return byte >= 0x20 && byte < 0x7F; }

} // namespace

std::string serverUrl(const std::string& host, int port)
{
    constexpr int MAX_PORT = 65535;
    if (host.empty() || !std::all_of(host.begin(), host.end(), isHostCharacter) || port < 1 ||
        port > MAX_PORT) {
        return {};
    }
    const bool isIPv6 = host.find(':') != std::string::npos;
    return "https://" + (isIPv6 ? "[" + host + "]" : host) + ":" + std::to_string(port) + "/";
}

std::string requestTarget(const std::string& path)
{
    if (!std::all_of(path.begin(), path.end(), isPathByte)) {
        return {};
    }
    return !path.empty() && path.front() == '/' ? path : "/" + path;
}

} // namespace Tessara::Keepsafe::Platform::http
