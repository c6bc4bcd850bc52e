#include "openssl/openssl_error.h"

#include <stdexcept>

#include <openssl/err.h>

namespace keepsafe_service {

std::string takeOpensslReason()
{
    const unsigned long newest = ERR_peek_last_error();
    const char* reason = newest == 0 ? nullptr : ERR_reason_error_string(newest);
    std::string text = reason == nullptr ? "no reason given" : reason;
    ERR_clear_error();
    return text;
}

void throwOpensslError(const std::string& attempt)
{
    throw std::runtime_error("cannot " + attempt + ": " + takeOpensslReason());
}

} // namespace keepsafe_service
