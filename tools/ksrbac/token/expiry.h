#ifndef KSRBAC_TOKEN_EXPIRY_H
#define KSRBAC_TOKEN_EXPIRY_H

#include <string>

#include <keepsafe/jwt/JWT.h>

namespace ksrbac {

struct TokenExpiry {
    bool isExpired; ///< also true when the token does not say when it expires
    std::string text;
};

/// What the library makes of the token's claim "exp", and that in words.
TokenExpiry readExpiry(const Tessara::Keepsafe::JWT& jwt);

/// The system's time in milliseconds since the Unix epoch.
long long nowMilliseconds();

} // namespace ksrbac

#endif
