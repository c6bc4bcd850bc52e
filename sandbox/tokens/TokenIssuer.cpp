#include "tokens/TokenIssuer.h"

#include <array>
#include <new>

#include <openssl/rand.h>

#include "errors/InputError.h"
#include "openssl/openssl_error.h"
#include "json/json_text.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;
using keepsafe_service::jsonText;
using keepsafe_service::throwOpensslError;
using Tessara::Keepsafe::JsonHandle;

namespace {

using Milliseconds = std::chrono::milliseconds;

/// A random identifier in the form of RFC 4122 section 4.4 has 122 random bits; plain hexadecimal keeps 128.
std::string randomIdentifier()
{
    std::array<unsigned char, 16> bytes{};
    if (RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) != 1) {
        throwOpensslError("get random bytes");
    }
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += digits[byte >> 4U];
        text += digits[byte & 0xFU];
    }
    return text;
}

void set(const JsonHandle& object, const char* name, json_t* value)
{
    if (json_object_set_new(object.get(), name, value) != 0) {
        throw std::bad_alloc();
    }
}

JsonHandle commonClaims(const TokenRequest& request, const std::string& identifier, Milliseconds expiry)
{
    JsonHandle claims(json_object());
    if (!claims) {
        throw std::bad_alloc();
    }
    json_t* subject = json_stringn(request.subject.data(), request.subject.size());
    if (subject == nullptr || request.subject.empty()) {
        json_decref(subject);
        throw InputError(request.subject.empty() ? "the subject is empty" : "the subject is not UTF-8");
    }
    set(claims, "sub", subject);
    set(claims, "jti", json_string(identifier.c_str()));
    set(claims, "exp", json_integer(expiry.count()));
    // A string on purpose: the library treats a JSON boolean here as an error.
    set(claims, "is_machine", json_string(request.isMachine ? "true" : "false"));
    return claims;
}

} // namespace

IssuedTokens issueTokens(const TokenSigner& signer, const TokenRequest& request,
                         std::chrono::system_clock::time_point now)
{
    const auto issued = std::chrono::duration_cast<Milliseconds>(now.time_since_epoch());
    const Milliseconds expiry = issued + request.lifetime;
    IssuedTokens tokens;
    tokens.sessionId = randomIdentifier();
    const JsonHandle session = commonClaims(request, tokens.sessionId, expiry);
    tokens.session = signer.sign(jsonText(session.get(), JSON_COMPACT));

    const JsonHandle authorization = commonClaims(request, randomIdentifier(), expiry);
    set(authorization, "iat", json_integer(issued.count()));
    JsonHandle roles(json_array());
    for (const std::int32_t role : request.roles) {
        if (json_array_append_new(roles.get(), json_integer(role)) != 0) {
            throw std::bad_alloc();
        }
    }
    set(authorization, "roles", roles.release());
    tokens.authorization = signer.sign(jsonText(authorization.get(), JSON_COMPACT));
    return tokens;
}

std::string issueToken(const TokenSigner& signer, TokenStore& store, const TokenRequest& request,
                       std::chrono::system_clock::time_point now)
{
    IssuedTokens tokens = issueTokens(signer, request, now);
    store.add(tokens.sessionId, tokens.authorization);
    return tokens.session;
}

} // namespace keepsafe_sandbox
