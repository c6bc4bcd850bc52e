#ifndef KEEPSAFE_SANDBOX_ROOT_CERTIFICATE_H
#define KEEPSAFE_SANDBOX_ROOT_CERTIFICATE_H

#include <memory>
#include <string>
#include <vector>

#include <openssl/evp.h>
#include <openssl/x509.h>

/// \file
/// X.509 certificates with their keys (EC P-256). Errors of OpenSSL are thrown as `std::runtime_error`
/// with their reason. Copies share their content, which is immutable.

namespace keepsafe_sandbox {

class PrivateKey {
public:
    static PrivateKey generate();
    /// Throws `InputError` when the text is not a private key, or one protected by a pass phrase.
    static PrivateKey fromPem(const std::string& pem);

    [[nodiscard]] std::string pem() const;
    [[nodiscard]] EVP_PKEY* get() const noexcept { return key_.get(); }

private:
    explicit PrivateKey(EVP_PKEY* key) : key_(key, EVP_PKEY_free) {}
    std::shared_ptr<EVP_PKEY> key_;
};

enum class CertificateUse { Authority, Server, Client };

struct CertificateRequest {
    std::string name; ///< common name
    CertificateUse use = CertificateUse::Client;
    /// as OpenSSL's "IP:127.0.0.1" or "DNS:localhost"
    std::vector<std::string> alternativeNames;
};

class Certificate {
public:
    static constexpr long LIFETIME_DAYS = 3652;

    /// Self-signed.
    static Certificate issueAuthority(const std::string& name, const PrivateKey& key);
    static Certificate issue(const CertificateRequest& request, const PrivateKey& key,
                             const Certificate& authority, const PrivateKey& authorityKey);
    /// Throws `InputError` when the text is not a certificate.
    static Certificate fromPem(const std::string& pem);

    [[nodiscard]] std::string pem() const;
    [[nodiscard]] bool belongsTo(const PrivateKey& key) const;
    /// Whether the name or the address is among those that it is for.
    [[nodiscard]] bool isFor(const std::string& address) const;
    /// Why it cannot be used this way if only `authority` is trusted, in OpenSSL's words; empty if it can.
    [[nodiscard]] std::string faultAs(CertificateUse use, const Certificate& authority) const;

private:
    explicit Certificate(X509* certificate) : certificate_(certificate, X509_free) {}
    std::shared_ptr<X509> certificate_;
};

} // namespace keepsafe_sandbox

#endif
