#ifndef KEEPSAFE_TESTS_SUPPORT_MASTERSERVERROOT_H
#define KEEPSAFE_TESTS_SUPPORT_MASTERSERVERROOT_H

#include <string>

#include "support/Certificates.h"
#include "support/HttpsServer.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// An installation root whose configuration names a master server, for clients that send nothing.
class NamedMasterServerRoot : public TempRoot {
public:
    NamedMasterServerRoot() { writeFile(path("etc/keepsafe.toml"), "master_server = \"master.example\"\n"); }
};

/// An installation root whose configuration names a master server at a loopback address that no other test
/// process takes, with certificates for both sides. The server itself is an `HttpsServer` with `settings`.
class MasterServerRoot : public TempRoot {
public:
    MasterServerRoot();

    [[nodiscard]] HttpsServer::Settings settings() const;

    /// The configuration's text, with the features that are enabled; at first it has this one.
    [[nodiscard]] std::string configuration(const std::string& features = "[1]") const
    {
        return nameLine() + "[features]\nenabled = " + features + '\n' + tlsSection();
    }
    [[nodiscard]] std::string nameLine() const { return "master_server = \"" + address + "\"\n"; }
    [[nodiscard]] std::string tlsSection() const;

    const std::string configurationFile = path("etc/keepsafe.toml");
    const std::string address;
    const CertificateAuthority authority{path(), "ca"};
    const CertificateFiles client = authority.issueForClient("host");
};

} // namespace keepsafe_test

#endif
