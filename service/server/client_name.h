#ifndef KEEPSAFE_SERVICE_SERVER_CLIENT_NAME_H
#define KEEPSAFE_SERVICE_SERVER_CLIENT_NAME_H

#include <cstddef>
#include <string>

#include <openssl/ssl.h>
#include <openssl/x509.h>

namespace keepsafe_service {

/// Longest name of a client, in bytes; what is behind that is left out, marked by "...".
constexpr std::size_t MOST_CLIENT_NAME_BYTES = 1024;

/// A name in the text form of RFC 4514, as in "CN=backup-01,O=Example"; empty for one without parts. UTF-8;
/// control characters are two hexadecimal digits behind a backslash, and when there are bytes that are not
/// UTF-8, so is everything beyond ASCII. Throws `std::bad_alloc`.
[[nodiscard]] std::string nameText(const X509_NAME& name);

/// The subject of the certificate that the other side has shown, likewise; empty when it has shown none.
[[nodiscard]] std::string clientName(const SSL& connection);

} // namespace keepsafe_service

#endif
