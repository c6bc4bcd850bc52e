#include "tokens/TokenStore.h"

#include "errors/InputError.h"

namespace keepsafe_sandbox {

using keepsafe_service::Database;
using keepsafe_service::InputError;

void TokenStore::add(const std::string& sessionId, const std::string& authorizationToken)
{
    if (authorizationToken.size() > MOST_TOKEN_BYTES) {
        throw InputError("the authorization token has " + std::to_string(authorizationToken.size()) +
                         " bytes, and at most " + std::to_string(MOST_TOKEN_BYTES) +
                         " can be read back: give it fewer roles or a shorter subject");
    }
    database_.change("store the authorization token",
                     "INSERT INTO AUTH_MAIN.AUTH_Access_Token_Details (SessionTokenValue, AzTokenValue) "
                     "VALUES (?, ?)",
                     {sessionId, authorizationToken});
}

bool TokenStore::remove(const std::string& sessionId)
{
    const bool isStored = database_.number("look the token up",
                                           "SELECT CAST(COUNT(*) AS INTEGER) FROM "
                                           "AUTH_MAIN.AUTH_Access_Token_Details WHERE SessionTokenValue = ?",
                                           {sessionId}) != 0;
    if (isStored) {
        database_.change("remove the token",
                         "DELETE FROM AUTH_MAIN.AUTH_Access_Token_Details WHERE SessionTokenValue = ?",
                         {sessionId});
    }
    return isStored;
}

void TokenStore::forEach(const std::function<void(const std::string&, const std::string&)>& take)
{
    database_.forEachRow("list the tokens",
                         "SELECT SessionTokenValue, AzTokenValue FROM AUTH_MAIN.AUTH_Access_Token_Details "
                         "ORDER BY SessionTokenValue",
                         2, [&take](const Database::Texts& row) { take(row[0], row[1]); });
}

} // namespace keepsafe_sandbox
