#ifndef KEEPSAFE_JWT_JWT_H
#define KEEPSAFE_JWT_JWT_H

#include <memory>
#include <string>

#include <keepsafe/platform/export/export.h>

struct json_t;

namespace Tessara::Keepsafe {

/// A JSON Web Token in compact form (RFC 7519, RFC 7515 section 7.1): header, payload and signature, each in
/// base64url (RFC 4648 section 5), joined by dots. The claims of its payload can be read here. Nothing here
/// verifies a signature, and the header is not decoded: `ValidatingJwtParser` is what a token must pass
/// before it is trusted.
///
/// Operations return a status: 0; 8002 for a token or claim of the wrong form; 7610 when the payload is not a
/// JSON object; 20 for base64url text of an impossible length; 10 when memory or OpenSSL fails. An output is
/// written on success only, unless said otherwise. One object, one thread at a time; different objects are
/// independent.
class KEEPSAFE_API JWT {
public:
    JWT() = default;
    /// Keeps the text; `init` reads it.
    explicit JWT(const std::string& token);
    ~JWT();
    JWT(const JWT&) = delete;
    JWT& operator=(const JWT&) = delete;

    /// Creates a token object from the text. On status 0 the caller owns `jwt` and deletes it; otherwise
    /// `jwt` is null.
    [[nodiscard]] static int createJWT(std::string token, JWT*& jwt);

    /// Splits the token and reads its payload.
    [[nodiscard]] int init(const std::string& token);

    /// Reads a payload in JSON form, zero-terminated; null counts as an empty text. An earlier payload is
    /// released.
    [[nodiscard]] int loadJSONPayload(const unsigned char* text);

    /// The claim "jti", a string: the token's identifier.
    [[nodiscard]] int getJwtId(std::string& jti) const;

    /// The claim "sub", a string.
    [[nodiscard]] int getSubject(std::string& sub) const;

    /// The claim "exp", an integer: milliseconds since the Unix epoch, not the seconds of RFC 7519.
    [[nodiscard]] int getExpiry(long long& exp) const;

    /// Whether "exp" has passed, to the second of the system clock. `expired` is true after any failure.
    [[nodiscard]] int isExpired(bool& expired) const;

    /// Whether the token's claim "is_machine" is the string "true". `isMachine` is false after any failure; a
    /// token without a string there is a failure.
    [[nodiscard]] static int isMachineCheck(const std::string& token, bool& isMachine);

    /// The token's claim "sub", allocated with `malloc` for the caller to `free`, or null.
    [[nodiscard]] static char* extractSubject(const std::string& token);

    /// The payload, borrowed from this object; null before a payload was read.
    [[nodiscard]] const json_t* payload() const noexcept { return payloadObject_.get(); }

private:
    std::string token_;
    std::string signaturePart_;
    std::string headerPart_;
    std::string payloadPart_;
    std::shared_ptr<json_t> payloadObject_;
};

} // namespace Tessara::Keepsafe

#endif
