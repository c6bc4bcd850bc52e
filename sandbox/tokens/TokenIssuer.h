#ifndef KEEPSAFE_SANDBOX_TOKENS_TOKENISSUER_H
#define KEEPSAFE_SANDBOX_TOKENS_TOKENISSUER_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "tokens/TokenSigner.h"
#include "tokens/TokenStore.h"

namespace keepsafe_sandbox {

/// The content of a token.
struct TokenRequest {
    std::string subject;
    std::vector<std::int32_t> roles;
    bool isMachine = false;
    /// From the time of issue on; negative makes a token that has expired already.
    std::chrono::milliseconds lifetime{};
};

/// The pair of tokens of one login. Times in them count milliseconds since the Unix epoch.
struct IssuedTokens {
    std::string sessionId;     ///< "jti" of the session token
    std::string session;       ///< for the caller
    std::string authorization; ///< for the database
};

/// Signs both tokens of a login at the given time. The session token has "jti", 128 random bits, "sub", "exp"
/// and "is_machine"; the authorization token these with its own "jti", "iat" and "roles". Throws `InputError`
/// for a subject that is empty or not UTF-8.
IssuedTokens issueTokens(const TokenSigner& signer, const TokenRequest& request,
                         std::chrono::system_clock::time_point now);

/// Signs both and stores the authorization token. Returns the session token. Throws what signing and storing
/// throw; nothing is stored then.
std::string issueToken(const TokenSigner& signer, TokenStore& store, const TokenRequest& request,
                       std::chrono::system_clock::time_point now = std::chrono::system_clock::now());

} // namespace keepsafe_sandbox

#endif
