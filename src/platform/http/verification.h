#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_VERIFICATION_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_VERIFICATION_H

#include <string>

#include <curl/curl.h>

namespace Tessara::Keepsafe::Platform::http {

/// For CURLOPT_SSL_CTX_FUNCTION; `host` is the std::string with the name or address that is connected to.
/// A server's certificate must name it as a subject alternative name. libcurl's own check accepts a
/// certificate without such names by its common name, which certification authorities do not vouch for. Also,
/// libcurl would write the secrets of each connection to the file that the environment names as
/// SSLKEYLOGFILE.
CURLcode setUpContext(CURL* handle, void* tlsContext, void* host) noexcept;

} // namespace Tessara::Keepsafe::Platform::http

#endif
