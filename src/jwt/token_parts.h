#ifndef KEEPSAFE_JWT_TOKEN_PARTS_H
#define KEEPSAFE_JWT_TOKEN_PARTS_H

#include <string_view>

namespace Tessara::Keepsafe {

/// The parts of a token as views into its text, which must outlive them: a lookup of roles splits the session
/// token twice and the authorization token once, without copies.
struct TokenParts {
    std::string_view header;
    std::string_view payload;
    std::string_view signature;
    /// Header and payload with their dot: what the signature is made of.
    std::string_view signedText;
};

/// Finds the parts of a token with exactly two dots; for any other, writes a log line and returns false.
bool findParts(std::string_view token, TokenParts& parts);

/// The same for a token of which no part may be empty. Returns 0 or 8002.
int splitToken(std::string_view token, TokenParts& parts);

} // namespace Tessara::Keepsafe

#endif
