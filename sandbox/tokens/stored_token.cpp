#include "tokens/stored_token.h"

#include <memory>

#include <keepsafe/jwt/JWT.h>

#include "errors/InputError.h"
#include "json/json_text.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::jsonText;
using Tessara::Keepsafe::JsonHandle;
using Tessara::Keepsafe::JWT;

namespace {

/// The token, or nothing if it does not have the form of one.
std::unique_ptr<JWT> parse(const std::string& token)
{
    JWT* jwt = nullptr;
    const int status = JWT::createJWT(token, jwt);
    return std::unique_ptr<JWT>(status == 0 ? jwt : nullptr);
}

} // namespace

std::string sessionIdOf(const std::string& sessionToken)
{
    const std::unique_ptr<JWT> jwt = parse(sessionToken);
    if (!jwt) {
        throw InputError("the input is not a token");
    }
    std::string identifier;
    if (jwt->getJwtId(identifier) != 0) {
        throw InputError("the token has no \"jti\", so nothing can be stored for it");
    }
    return identifier;
}

std::string describeStored(const std::string& sessionId, const std::string& authorizationToken)
{
    const JsonHandle line(json_object());
    json_t* session = json_stringn(sessionId.data(), sessionId.size());
    json_object_set_new(line.get(), "session", session == nullptr ? json_null() : session);
    const std::unique_ptr<JWT> jwt = parse(authorizationToken);
    if (!jwt) {
        json_object_set_new(line.get(), "error", json_string("not a token"));
        return jsonText(line.get(), JSON_COMPACT | JSON_ENSURE_ASCII);
    }
    for (const char* name : {"exp", "is_machine", "roles", "sub"}) {
        json_t* value = json_object_get(jwt->payload(), name);
        json_object_set(line.get(), name, value == nullptr ? json_null() : value);
    }
    return jsonText(line.get(), JSON_COMPACT | JSON_ENSURE_ASCII);
}

} // namespace keepsafe_sandbox
