#ifndef KEEPSAFE_SANDBOX_TOKENS_STORED_TOKEN_H
#define KEEPSAFE_SANDBOX_TOKENS_STORED_TOKEN_H

#include <string>

namespace keepsafe_sandbox {

/// Longest token that is read from a file.
constexpr std::size_t MOST_SESSION_TOKEN_BYTES = 65536;

/// The claim "jti" of a session token, whose signature is not checked. Throws `InputError` when it has none.
[[nodiscard]] std::string sessionIdOf(const std::string& sessionToken);

/// What is stored for a session, as one line of JSON without the token itself: "session" and the claims
/// "exp", "is_machine", "roles" and "sub" of the authorization token. A token that cannot be read has
/// "error" in their place.
[[nodiscard]] std::string describeStored(const std::string& sessionId, const std::string& authorizationToken);

} // namespace keepsafe_sandbox

#endif
