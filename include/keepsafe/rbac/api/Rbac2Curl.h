#ifndef KEEPSAFE_RBAC_API_RBAC2CURL_H
#define KEEPSAFE_RBAC_API_RBAC2CURL_H

#include <string>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac {

/// The text percent-encoded for one part of a URI (RFC 3986). Throws `EC_exception` with the encoder's
/// status, with a line in the log.
KEEPSAFE_API std::string encode_uri_part(const std::string& text);

/// Returns when the server answered with the expected HTTP status; throws `EC_exception` otherwise: with the
/// "errorCode" of the server's error document, or 114 when the body is not one. The server's message is
/// logged under `tag`.
KEEPSAFE_API void throw_on_http_error(int expected, int actual, const std::string& body, const char* tag);

} // namespace Tessara::Keepsafe::Rbac

#endif
