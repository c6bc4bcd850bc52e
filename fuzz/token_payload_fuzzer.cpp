// The input as the payload of a token that the host signed: everything after the signature check agrees with
// a plain walk through the JSON.

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include <jansson.h>
#include <openssl/err.h>

#include <keepsafe/jwt/ValidatingJwtParser.h>

#include "HostKeyFolder.h"
#include "require.h"
#include "tokens/TokenSigner.h"

namespace {

using keepsafe_sandbox::TokenSigner;
using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::ValidatingJwtParser;

/// What the payload says, read plainly.
struct Claims {
    bool isObject = false;
    std::optional<long long> exp;
    std::optional<std::string> jti;
    std::optional<std::string> sub;
};

std::optional<std::string> stringOf(const json_t* object, const char* name)
{
    const json_t* const claim = json_object_get(object, name);
    return json_is_string(claim) ? std::optional<std::string>(json_string_value(claim)) : std::nullopt;
}

Claims claimsOf(const std::string& payload)
{
    Claims claims;
    json_error_t error;
    json_t* const root = json_loads(payload.c_str(), 0, &error);
    if (json_is_object(root)) {
        claims.isObject = true;
        claims.jti = stringOf(root, "jti");
        claims.sub = stringOf(root, "sub");
        if (const json_t* const exp = json_object_get(root, "exp"); json_is_integer(exp)) {
            claims.exp = json_integer_value(exp);
        }
    }
    json_decref(root);
    return claims;
}

int expectedStatus(const Claims& claims, long long nowSeconds)
{
    if (!claims.isObject) {
        return 7610;
    }
    if (!claims.exp) {
        return 8002;
    }
    return *claims.exp < nowSeconds * 1000 ? 8001 : 0;
}

void checkGetters(const JWT& jwt, const Claims& claims)
{
    std::string jti = "as it was";
    std::string sub = "as it was";
    long long exp = 0;
    require(jwt.getJwtId(jti) == (claims.jti ? 0 : 8002), "the status of the identifier");
    require(jti == claims.jti.value_or("as it was"), "the identifier, or nothing");
    require(jwt.getSubject(sub) == (claims.sub ? 0 : 8002), "the status of the subject");
    require(sub == claims.sub.value_or("as it was"), "the subject, or nothing");
    require(jwt.getExpiry(exp) == 0 && exp == *claims.exp, "the expiry");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const TokenSigner signer = TokenSigner::generate(512);
    static const HostKeyFolder root(signer.publicKeyPem());
    const std::string payload(data, data + size);
    const std::string token = signer.sign(payload);
    const Claims claims = claimsOf(payload);

    const long long before = std::time(nullptr);
    JWT* made = nullptr;
    const int status = ValidatingJwtParser().parseJwt(token, made);
    const std::unique_ptr<const JWT> jwt(made);
    const long long after = std::time(nullptr);

    require((status == 0) == (jwt != nullptr), "an object is there exactly on status 0");
    if (payload.empty()) {
        require(status == 8002, "an empty payload is no part");
    } else {
        require(status == expectedStatus(claims, before) || status == expectedStatus(claims, after),
                "the status is that of a plain walk");
    }
    if (jwt) {
        checkGetters(*jwt, claims);
    }
    require(ERR_peek_error() == 0, "the error queue is empty");
    return 0;
}
