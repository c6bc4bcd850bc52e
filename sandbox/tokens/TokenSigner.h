#ifndef KEEPSAFE_SANDBOX_TOKENS_TOKENSIGNER_H
#define KEEPSAFE_SANDBOX_TOKENS_TOKENSIGNER_H

#include <memory>
#include <string>
#include <string_view>

struct evp_pkey_st; // OpenSSL's EVP_PKEY

namespace keepsafe_sandbox {

/// Signs tokens with its own RSA key, as the product's token issuer does: RSASSA-PKCS1-v1_5 with SHA-256
/// (RS256 of RFC 7518 section 3.3) over the compact form of RFC 7515 section 7.1. Header and payload are used
/// unchanged, so that tests can sign what no issuer would. Copies are cheap: they share the key, which is
/// immutable. Any thread.
///
/// Errors of OpenSSL are thrown as `std::runtime_error` with their reason; its error queue is left empty.
class TokenSigner {
public:
    static constexpr unsigned DEFAULT_KEY_BITS = 2048;
    static constexpr char RS256_HEADER[] = R"({"alg":"RS256","typ":"JWT"})";

    /// Creates a new key with that number of bits, at least 512.
    static TokenSigner generate(unsigned bits = DEFAULT_KEY_BITS);
    /// Takes a private key in PEM form (PKCS#8 or PKCS#1, not encrypted). Throws `InputError` when the text
    /// is not an RSA key.
    static TokenSigner fromPrivateKeyPem(const std::string& pem);

    [[nodiscard]] unsigned keyBits() const;
    /// The private key, PKCS#8, a block PRIVATE KEY (RFC 7468 section 10).
    [[nodiscard]] std::string privateKeyPem() const;
    /// The public key, SubjectPublicKeyInfo, a block PUBLIC KEY (RFC 7468 section 13): what the library
    /// reads.
    [[nodiscard]] std::string publicKeyPem() const;

    /// The compact token of a payload with the usual header.
    [[nodiscard]] std::string sign(std::string_view payload) const { return sign(RS256_HEADER, payload); }
    /// The compact token of any header and payload.
    [[nodiscard]] std::string sign(std::string_view header, std::string_view payload) const;
    /// The signature's bytes for any text before the second dot.
    [[nodiscard]] std::string signature(std::string_view signedText) const;

private:
    explicit TokenSigner(std::shared_ptr<evp_pkey_st> key);

    std::shared_ptr<evp_pkey_st> key_;
};

/// Base64url without padding (RFC 7515 section 2).
[[nodiscard]] std::string base64Url(std::string_view bytes);

} // namespace keepsafe_sandbox

#endif
