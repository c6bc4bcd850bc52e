#include <keepsafe/jwt/ValidatingJwtParser.h>

#include <memory>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/platform/status/status_codes.h>

#include "debug_log.h"

namespace Tessara::Keepsafe {

using diagnostics::debugLog;

namespace {

constexpr char PARSE_TAG[] = "ValidatingJwtParser::parseJwt";

} // namespace

ValidatingJwtParser::~ValidatingJwtParser() = default;

int ValidatingJwtParser::parseJwt(const std::string& token, JWT*& jwt)
{
    jwt = nullptr;
    if (!JWTSSLApi::verifyJWTSignatureUsingHostPublicKey(token)) {
        debugLog({PARSE_TAG, 1}, "verification of JWT failed");
        return Status::TOKEN_INVALID;
    }
    JWT* made = nullptr;
    const int creation = JWT::createJWT(token, made);
    std::unique_ptr<JWT> parsed(made);
    if (creation != Status::SUCCESS) {
        debugLog({PARSE_TAG, 1}, "failed to create JWT, error=", creation);
        return creation;
    }
    bool expired = true;
    const int check = parsed->isExpired(expired);
    if (check != Status::SUCCESS) {
        debugLog({PARSE_TAG, 1}, "JWT is expired check failed, error=", check);
        return check;
    }
    if (expired) {
        debugLog({PARSE_TAG, 1}, "JWT is expired");
        return Status::TOKEN_EXPIRED;
    }
    jwt = parsed.release();
    return Status::SUCCESS;
}

} // namespace Tessara::Keepsafe
