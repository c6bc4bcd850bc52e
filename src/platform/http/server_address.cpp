#include "server_address.h"

#include <algorithm>

#include "host_name.h"

namespace Tessara::Keepsafe::Platform::http {
namespace {

bool isPathByte(char byte) { return byte >= 0x20 && byte < 0x7F; }

} // namespace

std::string serverUrl(const std::string& host, int port)
{
    constexpr int MAX_PORT = 65535;
    if (host.empty() || !Process::hasOnlyHostCharacters(host) || port < 1 || port > MAX_PORT) {
        return {};
    }
    const bool isIPv6 = host.find(':') != std::string::npos;
    return "https://" + (isIPv6 ? "[" + host + "]" : host) + ":" + std::to_string(port) + "/";
}

std::string hostOf(const std::string& serverUrl)
{
    const std::size_t begin = serverUrl.find("//") + 2;
    const std::string host = serverUrl.substr(begin, serverUrl.rfind(':') - begin);
    return host.front() == '[' ? host.substr(1, host.size() - 2) : host;
}

std::string requestTarget(const std::string& path)
{
    if (!std::all_of(path.begin(), path.end(), isPathByte)) {
        return {};
    }
    return !path.empty() && path.front() == '/' ? path : "/" + path;
}

} // namespace Tessara::Keepsafe::Platform::http
