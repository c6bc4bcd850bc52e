#ifndef KEEPSAFE_JWT_JWTUTIL_H
#define KEEPSAFE_JWT_JWTUTIL_H

#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe {

/// Splitting of tokens and reading of the host's public key. Any thread.
class KEEPSAFE_API JWTUtil {
public:
    JWTUtil() = delete;

    /// Appends the token's three parts to `parts`, which is expected empty. Returns 0, or 8002 unless the
    /// token has exactly two dots and no empty part.
    [[nodiscard]] static int tokenizeJWT(const std::string& token, std::vector<std::string>& parts);

    /// Reads the whole public key file, `<installation root>/var/global/tssec/jwtkeys/jwtPublicKey`. Returns
    /// 0, 12 when it cannot be opened, or 13 when it cannot be read; use `key` only on 0. An empty file gives
    /// 0 and an empty text.
    [[nodiscard]] static int loadJwtPublicKey(std::string& key);
};

} // namespace Tessara::Keepsafe

#endif
