#ifndef KEEPSAFE_TESTS_JWT_BAD_TOKENS_TOKENCASE_H
#define KEEPSAFE_TESTS_JWT_BAD_TOKENS_TOKENCASE_H

#include <functional>
#include <string>
#include <vector>

#include "jwt/bad_tokens/EntryPoint.h"
#include "jwt/expected_lines.h"
#include "jwt/keys.h"

namespace keepsafe_test {

/// One entry of the table: a token, the way that it is put in, and everything that must come out. The host's
/// key is `hostSigner`'s unless `hostKey` is set.
struct TokenCase {
    std::string words; ///< what is special about the token
    std::string token;
    entry_point::EntryPoint entryPoint;
    int status;
    std::string delivered;
    lines::Lines logged;
    std::string hostKey = {};
    /// Makes the token when what matters is the current second, in milliseconds.
    std::function<std::string(long long nowMs)> tokenAt = {};
};

using TokenCases = std::vector<TokenCase>;

TokenCases shapeCases();     ///< dots and parts
TokenCases codingCases();    ///< base64url of the payload part
TokenCases signatureCases(); ///< headers, signatures and keys
TokenCases payloadCases();   ///< JSON texts behind a good signature
TokenCases claimCases();     ///< "exp", "jti", "sub" and "is_machine"
TokenCases roleCases();      ///< "roles"

/// The validating parser refuses the token's signature for the reason in `reason`.
inline TokenCase notVerifiedCase(const std::string& words, const std::string& token,
                                 const lines::Lines& reason)
{
    return {words,
            token,
            entry_point::parseJwt,
            8002,
            entry_point::NO_OBJECT,
            lines::notVerified(reason) + lines::Lines{lines::parserSays("verification of JWT failed")}};
}

inline TokenCase wrongSignatureCase(const std::string& words, const std::string& token)
{
    return notVerifiedCase(words, token, {lines::KEY_READ, lines::VERIFYING, lines::NOT_VERIFIED});
}

inline TokenCase acceptedCase(const std::string& words, const std::string& token)
{
    return {words, token, entry_point::parseJwt, 0, entry_point::AN_OBJECT, lines::verified()};
}

/// The validating parser verifies the token and then fails with these lines.
inline TokenCase refusedBehindSignatureCase(const std::string& words, const std::string& token, int status,
                                            const lines::Lines& rest)
{
    return {words, token, entry_point::parseJwt, status, entry_point::NO_OBJECT, lines::verified() + rest};
}

} // namespace keepsafe_test

#endif
