#ifndef KEEPSAFE_SANDBOX_TOKENS_OPENSSL_ERROR_H
#define KEEPSAFE_SANDBOX_TOKENS_OPENSSL_ERROR_H

#include <string>

namespace keepsafe_sandbox {

/// Empties the thread's queue of OpenSSL errors and returns the reason of the newest one.
std::string takeOpensslReason();

/// Throws `std::runtime_error`: what was attempted, and OpenSSL's reason.
[[noreturn]] void throwOpensslError(const std::string& attempt);

} // namespace keepsafe_sandbox

#endif
