#ifndef KSRBAC_TOKEN_EXPIRY_H
#define KSRBAC_TOKEN_EXPIRY_H

#include <string>

#include <keepsafe/jwt/JWT.h>

namespace ksrbac {

struct TokenExpiry {
    bool isExpired; ///< also true if the token has no expiry
    std::string text;
};

/// The library's verdict on the token's claim "exp", and its description.
TokenExpiry readExpiry(const Tessara::Keepsafe::JWT& jwt);

/// The system's time in milliseconds since the Unix epoch.
long long nowMilliseconds();

} // namespace ksrbac

#endif
