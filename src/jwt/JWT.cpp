#include <keepsafe/jwt/JWT.h>

#include <cstring>
#include <ctime>
#include <memory>

#include <keepsafe/jwt/JWTSSLApi.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "load.h"
#include "token_parts.h"

namespace Tessara::Keepsafe {

namespace {

constexpr char NOT_A_STRING[] = "JWT is invalid. JSON object is not of type string";
constexpr char NOT_AN_INTEGER[] = "JWT is invalid. JSON object is not of type integer";

void logError(const char* tag, const char* message)
{
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "%s", message);
}

/// The claim, borrowed from `payload`; null, with a line under `tag`, when there is none of that type.
const json_t* findClaim(const json_t* payload, const char* name, json_type type, const char* tag,
                        const char* wrongType)
{
    if (payload == nullptr) {
        logError(tag, "JSON Payload Object is null. JWT Object is not initialized correctly");
        return nullptr;
    }
    const json_t* const claim = json_object_get(payload, name);
    if (claim == nullptr || json_typeof(claim) != type) {
        logError(tag, wrongType);
        return nullptr;
    }
    return claim;
}

/// A string claim. Returns 0 or 8002.
int readString(const json_t* payload, const char* name, const char* tag, const char* wrongType,
               std::string& value)
{
    const json_t* const claim = findClaim(payload, name, JSON_STRING, tag, wrongType);
    if (claim == nullptr) {
        return Status::TOKEN_INVALID;
    }
    value = json_string_value(claim);
    return Status::SUCCESS;
}

/// The claim "exp". Returns 0 or 8002.
int readExpiry(const json_t* payload, const char* tag, long long& value)
{
    const json_t* const claim = findClaim(payload, "exp", JSON_INTEGER, tag, NOT_AN_INTEGER);
    if (claim == nullptr) {
        return Status::TOKEN_INVALID;
    }
    value = json_integer_value(claim);
    return Status::SUCCESS;
}

/// The token object of a text, owned; null after a failure.
std::unique_ptr<const JWT> parse(const std::string& token, int& status)
{
    JWT* jwt = nullptr;
    status = JWT::createJWT(token, jwt);
    return std::unique_ptr<const JWT>(jwt);
}

} // namespace

JWT::JWT(const std::string& token) : token_(token) {}

JWT::~JWT() = default;

// By value: the signature that callers are built against.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
int JWT::createJWT(std::string token, JWT*& jwt)
{
    jwt = new JWT(token);
    const int status = jwt->init(token);
    if (status != Status::SUCCESS) {
        delete jwt;
        jwt = nullptr;
    }
    return status;
}

int JWT::init(const std::string& token)
{
    TokenParts parts;
    const int split = splitToken(token, parts);
    if (split != Status::SUCCESS) {
        return split;
    }
    headerPart_ = parts.header;
    payloadPart_ = parts.payload;
    signaturePart_ = parts.signature;

    unsigned char* decoded = nullptr;
    int decodedLength = 0;
    const int decoding = JWTSSLApi::B64DecodeURL(payloadPart_, decoded, decodedLength);
    if (decoding != Status::SUCCESS) {
        return decoding;
    }
    const std::unique_ptr<const unsigned char[]> text(decoded);
    return loadJSONPayload(text.get());
}

int JWT::loadJSONPayload(const unsigned char* text)
{
    json_error_t error;
    payloadObject_ = loadJson(text == nullptr ? "" : reinterpret_cast<const char*>(text), error);
    if (!json_is_object(payload())) {
        logError("JWT::loadJSON", "Error in loading json");
        return Status::MALFORMED_DOCUMENT;
    }
    return Status::SUCCESS;
}

int JWT::getJwtId(std::string& jti) const
{
    return readString(payload(), "jti", "JWT::getJwtId",
                      "JWT is invalid. JTI claim JSON object is not of type string", jti);
}

int JWT::getSubject(std::string& sub) const
{
    return readString(payload(), "sub", "JWT::getSubject", NOT_A_STRING, sub);
}

int JWT::getExpiry(long long& exp) const { return readExpiry(payload(), "JWT::getExpiry", exp); }

int JWT::isExpired(bool& expired) const
{
    expired = true;
    long long exp = 0;
    const int status = readExpiry(payload(), "JWT::isExpired", exp);
    if (status != Status::SUCCESS) {
        return status;
    }
    const long long nowMilliseconds = static_cast<long long>(std::time(nullptr)) * 1000;
    expired = exp < nowMilliseconds;
    return Status::SUCCESS;
}

int JWT::isMachineCheck(const std::string& token, bool& isMachine)
{
    constexpr char TAG[] = "isMachineCheck";
    isMachine = false;
    int status = Status::SUCCESS;
    const std::unique_ptr<const JWT> jwt = parse(token, status);
    if (status != Status::SUCCESS) {
        logError(TAG, "failed to create JWT");
        return status;
    }
    std::string value;
    status = readString(jwt->payload(), "is_machine", TAG, NOT_A_STRING, value);
    isMachine = value == "true";
    return status;
}

char* JWT::extractSubject(const std::string& token)
{
    constexpr char TAG[] = "extractSubject";
    int status = Status::SUCCESS;
    const std::unique_ptr<const JWT> jwt = parse(token, status);
    if (status != Status::SUCCESS) {
        logError(TAG, "failed to create JWT");
        return nullptr;
    }
    std::string subject;
    if (jwt->getSubject(subject) != Status::SUCCESS) {
        logError(TAG, "JWT getSubject failed");
        return nullptr;
    }
    return strdup(subject.c_str());
}

} // namespace Tessara::Keepsafe
