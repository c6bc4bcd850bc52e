#ifndef KEEPSAFE_SERVICE_OPENSSL_OPENSSL_ERROR_H
#define KEEPSAFE_SERVICE_OPENSSL_OPENSSL_ERROR_H

#include <string>

namespace keepsafe_service {

/// Empties the thread's queue of OpenSSL errors and returns the reason of the newest one.
std::string takeOpensslReason();

/// Throws `std::runtime_error`: what was attempted, and OpenSSL's reason.
[[noreturn]] void throwOpensslError(const std::string& attempt);

} // namespace keepsafe_service

#endif
