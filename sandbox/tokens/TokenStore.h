#ifndef KEEPSAFE_SANDBOX_TOKENS_TOKENSTORE_H
#define KEEPSAFE_SANDBOX_TOKENS_TOKENSTORE_H

#include <cstddef>
#include <functional>
#include <string>

#include "database/Database.h"

namespace keepsafe_sandbox {

/// The authorization tokens in the database, by the identifier of their session tokens. Throws
/// `DatabaseError`.
class TokenStore {
public:
    /// Longest authorization token that the library can read, in bytes.
    static constexpr std::size_t MOST_TOKEN_BYTES = 32000;

    /// The database must outlive the store.
    explicit TokenStore(keepsafe_service::Database& database) : database_(database) {}

    /// Throws `InputError` when the token is longer than the library can read.
    void add(const std::string& sessionId, const std::string& authorizationToken);
    /// False when there was none to remove.
    bool remove(const std::string& sessionId);
    /// In the order of the identifiers.
    void forEach(const std::function<void(const std::string& sessionId, const std::string& token)>& take);

private:
    keepsafe_service::Database& database_;
};

} // namespace keepsafe_sandbox

#endif
