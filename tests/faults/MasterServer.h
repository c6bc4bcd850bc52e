#ifndef KEEPSAFE_TESTS_FAULTS_MASTERSERVER_H
#define KEEPSAFE_TESTS_FAULTS_MASTERSERVER_H

#include <optional>

#include "support/Certificates.h"
#include "support/Descriptor.h"
#include "support/HttpsServer.h"
#include "support/Process.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace keepsafe_test {

/// A master server in a process of its own, which no fault reaches, and the installation root of its clients.
class MasterServer {
public:
    /// `play` answers every request.
    explicit MasterServer(const Play& play);

private:
    void serve(const Play& play, const Pipe& ready) const;

    TempRoot root_;
    const std::string address_ = ownAddress();
    const CertificateAuthority authority_{root_.path(), "ca"};
    const CertificateFiles server_ = authority_.issue({"server", "serverAuth", "IP:" + address_});
    const CertificateFiles client_ = authority_.issueForClient("host");
    std::optional<Process> process_;
};

} // namespace keepsafe_test

#endif
