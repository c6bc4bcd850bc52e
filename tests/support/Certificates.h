#ifndef KEEPSAFE_TESTS_SUPPORT_CERTIFICATES_H
#define KEEPSAFE_TESTS_SUPPORT_CERTIFICATES_H

#include <memory>
#include <string>

namespace keepsafe_test {

/// PEM files.
struct CertificateFiles {
    std::string certificate;
    std::string key;
};

struct CertificateRequest {
    std::string name; ///< common name, and of the files
    /// "serverAuth" or "clientAuth"
    std::string usage;
    /// as "IP:127.0.0.1,DNS:localhost"; empty: none
    std::string alternativeNames;
    long validFromSeconds = -3600; ///< from now
    long validToSeconds = 24L * 3600;
};

/// Issues certificates (EC P-256) into a folder. Its own is "<folder>/<name>.pem".
class CertificateAuthority {
public:
    CertificateAuthority(std::string folder, const std::string& name);
    ~CertificateAuthority();
    CertificateAuthority(const CertificateAuthority&) = delete;
    CertificateAuthority& operator=(const CertificateAuthority&) = delete;

    [[nodiscard]] const std::string& file() const { return file_; }
    [[nodiscard]] CertificateFiles issue(const CertificateRequest& request) const;
    /// A server's certificate for 127.0.0.1, ::1 and localhost.
    [[nodiscard]] CertificateFiles issueForServer(const std::string& name) const;
    [[nodiscard]] CertificateFiles issueForClient(const std::string& name) const;

private:
    struct Keys;
    std::string folder_;
    std::string file_;
    std::unique_ptr<Keys> keys_;
};

/// A certificate that is issued by itself.
CertificateFiles selfSigned(const std::string& folder, const CertificateRequest& request);

/// Encrypts the private key of the file with a pass phrase, into another file.
void encryptKey(const std::string& from, const std::string& to, const std::string& passPhrase);

} // namespace keepsafe_test

#endif
