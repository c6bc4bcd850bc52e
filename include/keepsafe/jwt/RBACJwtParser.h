#ifndef KEEPSAFE_JWT_RBACJWTPARSER_H
#define KEEPSAFE_JWT_RBACJWTPARSER_H

#include <string>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe {

/// Turns the text of a token into a token object.
class KEEPSAFE_API RBACJwtParser {
public:
    RBACJwtParser() = default;
    RBACJwtParser(const RBACJwtParser&) = delete;
    RBACJwtParser& operator=(const RBACJwtParser&) = delete;
    virtual ~RBACJwtParser();

    /// On status 0 the caller owns `jwt` and deletes it; on any other `jwt` is null.
    [[nodiscard]] virtual int parseJwt(const std::string& token, JWT*& jwt) = 0;
};

} // namespace Tessara::Keepsafe

#endif
