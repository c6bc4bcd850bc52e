#ifndef KEEPSAFE_JWT_JWTSSLAPI_H
#define KEEPSAFE_JWT_JWTSSLAPI_H

#include <string>

#include <keepsafe/platform/export/export.h>

struct evp_pkey_st; // OpenSSL's EVP_PKEY

namespace Tessara::Keepsafe {

/// Base64 coding (RFC 4648) and verification of RS256 signatures (RFC 7518 section 3.3) with OpenSSL. Any
/// thread. OpenSSL's error queue is left unchanged.
class KEEPSAFE_API JWTSSLApi {
public:
    JWTSSLApi() = delete;

    /// Encodes `length` bytes with padding and without line breaks (RFC 4648 section 4). Returns 0 or 10.
    [[nodiscard]] static int B64Encode(const unsigned char* data, int length, std::string& out);

    /// Decodes base64 text up to its first zero byte. On 0 the caller releases `out` with `delete[]`; it has
    /// as many bytes as the text has characters, with zeros after the `outLength` decoded ones. Text that is
    /// not base64 gives 0 and a length of 0 or less. Returns 10, and `out` null, when memory or OpenSSL
    /// fails.
    [[nodiscard]] static int B64Decode(const std::string& in, unsigned char*& out, int& outLength);

    /// The same for base64url text with or without padding (RFC 4648 section 5). Returns 20 when the length
    /// is impossible; `out` is not to be used after a failure.
    [[nodiscard]] static int B64DecodeURL(const std::string& in, unsigned char*& out, int& outLength);

    /// The public key in a PEM text (a block PUBLIC KEY that holds an RSA key, RFC 7468 section 13). Returns
    /// 0, and the caller frees `key` with `EVP_PKEY_free`; or 8007, and `key` is null.
    [[nodiscard]] static int getEVPPublicKey(const std::string& pem, evp_pkey_st*& key);

    /// Whether the token's signature is RSASSA-PKCS1-v1_5 with SHA-256 of its first two parts, made with the
    /// private key that matches `publicKey` (PEM). The token's header is not read. Every failure is false,
    /// with its reason in the log.
    [[nodiscard]] static bool verifyJWTSignature(const std::string& token, const std::string& publicKey);

    /// The same with the host's public key, which is read again for every call.
    [[nodiscard]] static bool verifyJWTSignatureUsingHostPublicKey(const std::string& token);
};

} // namespace Tessara::Keepsafe

#endif
