#ifndef KEEPSAFE_TESTS_PLATFORM_HTTP_HTTPTEST_H
#define KEEPSAFE_TESTS_PLATFORM_HTTP_HTTPTEST_H

#include <string>

#include <gtest/gtest.h>

#include <keepsafe/platform/http/KSClientCURL.h>

#include "support/Certificates.h"
#include "support/HttpsServer.h"
#include "support/TempDir.h"

namespace keepsafe_test {

/// An installation root with a CA and a host certificate that servers accept, all of it configured.
class HttpTest : public testing::Test {
protected:
    HttpTest();

    /// Writes the configuration: the TLS files as they stand below, and the `[http]` section.
    void configure(const std::string& httpSection = "");

    [[nodiscard]] HttpsServer::Settings serverSettings() const;
    /// A client of a server on this host, with the host's certificate.
    static KSClientCURL clientOf(const HttpsServer& server, const std::string& host = "127.0.0.1");
    static KSClientCURL clientOf(int port, const std::string& host = "127.0.0.1",
                                 cert_type certificate = CERT_TYPE_HOST);
    /// The status of a GET request by a separate client.
    static int statusOfGet(const HttpsServer& server, const std::string& host = "127.0.0.1");

    TempRoot root;
    CertificateAuthority ca{root.path(), "ca"};
    CertificateFiles serverFiles = ca.issueForServer("server");
    CertificateFiles hostFiles = ca.issueForClient("host");
    std::string caFile = ca.file();
};

} // namespace keepsafe_test

#endif
