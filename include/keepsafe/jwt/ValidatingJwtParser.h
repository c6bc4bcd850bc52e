#ifndef KEEPSAFE_JWT_VALIDATINGJWTPARSER_H
#define KEEPSAFE_JWT_VALIDATINGJWTPARSER_H

#include <string>

#include <keepsafe/jwt/RBACJwtParser.h>
#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe {

/// The parser that accepts a token only when the host's public key verifies its signature and it has not
/// expired, in this order. Any thread.
class KEEPSAFE_API ValidatingJwtParser : public RBACJwtParser {
public:
    ValidatingJwtParser() = default;
    ~ValidatingJwtParser() override;

    /// Returns 0; 8002 when the signature does not verify for any reason, or the token or its "exp" is
    /// malformed; 8001 when the token has expired; 7610, 20 or 10 when its payload cannot be read.
    [[nodiscard]] int parseJwt(const std::string& token, JWT*& jwt) override;
};

} // namespace Tessara::Keepsafe

#endif
