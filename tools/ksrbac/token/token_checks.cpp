#include "token/token_checks.h"

#include <memory>

#include <keepsafe/jwt/JWT.h>
#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/jwt/JWTUtil.h>
#include <keepsafe/jwt/ValidatingJwtParser.h>
#include <keepsafe/platform/status/status_codes.h>

#include "log/SilencedLog.h"
#include "token/HostKey.h"
#include "token/expiry.h"

namespace ksrbac {

using Tessara::Keepsafe::JWT;
using Tessara::Keepsafe::JWTSSLApi;
using Tessara::Keepsafe::JWTUtil;
using Tessara::Keepsafe::ValidatingJwtParser;
namespace Status = Tessara::Keepsafe::Status;

namespace {

using Outcome = TokenCheck::Outcome;

bool isBase64Url(const std::string& text)
{
    unsigned char* bytes = nullptr;
    int length = 0;
    if (JWTSSLApi::B64DecodeURL(text, bytes, length) != Status::SUCCESS) {
        return false; // `bytes` is not to be used then
    }
    delete[] bytes;
    return length > 0;
}

/// Makes the checks in their order, up to the first that does not pass.
class Examination {
public:
    explicit Examination(const std::string& token) : token_(token) {}

    TokenVerdict examine()
    {
        check("form", &Examination::form);
        check("signature", &Examination::signature);
        check("payload", &Examination::payload);
        check("expiry", &Examination::expiry);
        return std::move(verdict_);
    }

private:
    void check(const char* name, TokenCheck (Examination::*method)())
    {
        const bool isReached = verdict_.checks.empty() || verdict_.checks.back().outcome == Outcome::Passed;
        TokenCheck result =
            isReached ? (this->*method)() : TokenCheck{name, Outcome::Skipped, "not looked at"};
        result.name = name;
        verdict_.checks.push_back(std::move(result));
    }

    static TokenCheck passed(std::string detail) { return {"", Outcome::Passed, std::move(detail)}; }
    static TokenCheck failed(std::string detail) { return {"", Outcome::Failed, std::move(detail)}; }

    TokenCheck form()
    {
        return JWTUtil::tokenizeJWT(token_, parts_) == Status::SUCCESS
                   ? passed("three parts")
                   : failed("not three parts, none of them empty, joined by dots");
    }

    TokenCheck signature()
    {
        if (!isBase64Url(parts_[2])) {
            return failed("not base64url");
        }
        const HostKey key = loadHostKey();
        if (key.status != Status::SUCCESS) {
            verdict_.keyStatus = key.status;
            return {"", Outcome::Unknown,
                    "the host's public key cannot be used: status " + std::to_string(key.status) + ": " +
                        getECmsg(key.status)};
        }
        return JWTSSLApi::verifyJWTSignature(token_, key.pem)
                   ? passed("RS256 by the host's key")
                   : failed("not RS256 of this header and payload by the host's key");
    }

    TokenCheck payload()
    {
        JWT* jwt = nullptr;
        const int status = JWT::createJWT(token_, jwt);
        jwt_.reset(jwt);
        if (status == Status::SUCCESS) {
            return passed("a JSON object");
        }
        return failed(status == Status::MALFORMED_DOCUMENT ? "not a JSON object" : "not base64url");
    }

    TokenCheck expiry()
    {
        const TokenExpiry expiry = readExpiry(*jwt_);
        return expiry.isExpired ? failed(expiry.text) : passed(expiry.text);
    }

    const std::string& token_;
    std::vector<std::string> parts_;
    std::unique_ptr<JWT> jwt_;
    TokenVerdict verdict_;
};

} // namespace

TokenVerdict judgeToken(const std::string& token)
{
    JWT* jwt = nullptr;
    const int status = ValidatingJwtParser().parseJwt(token, jwt);
    delete jwt;
    const SilencedLog silence; // the parser has logged already what the checks would log again
    TokenVerdict verdict = Examination(token).examine();
    verdict.status = status;
    verdict.isValid = status == Status::SUCCESS;
    return verdict;
}

} // namespace ksrbac
