#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_SERVER_ADDRESS_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_SERVER_ADDRESS_H

#include <string>

namespace Tessara::Keepsafe::Platform::http {

/// The URL of the server's root, "https://host:port/"; empty if host or port is not allowed in one.
std::string serverUrl(const std::string& host, int port);

/// The host in such a URL.
std::string hostOf(const std::string& serverUrl);

/// What the request line asks for: the path with one slash before it; empty if a byte of the path is not
/// allowed in a request line.
std::string requestTarget(const std::string& path);

} // namespace Tessara::Keepsafe::Platform::http

#endif
