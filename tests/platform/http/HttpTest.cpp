#include "HttpTest.h"

namespace keepsafe_test {

namespace {
constexpr bool NEVER_ABORTED = false;
}

HttpTest::HttpTest() { configure(); }

void HttpTest::configure(const std::string& httpSection)
{
    writeFile(root.path("etc/keepsafe.toml"), "[tls]\ncertificate = \"" + hostFiles.certificate +
                                                  "\"\nkey = \"" + hostFiles.key + "\"\nca = \"" + caFile +
                                                  "\"\n[http]\n" + httpSection);
}

HttpsServer::Settings HttpTest::serverSettings() const
{
    HttpsServer::Settings settings;
    settings.certificate = serverFiles;
    settings.clientCa = ca.file();
    return settings;
}

KSClientCURL HttpTest::clientOf(const HttpsServer& server, const std::string& host)
{
    return clientOf(server.port(), host);
}

KSClientCURL HttpTest::clientOf(int port, const std::string& host, cert_type certificate)
{
    return KSClientCURL(host, port, certificate, 1, nullptr, "", "", "", true, false, false, false,
                        NEVER_ABORTED, 0);
}

int HttpTest::statusOfGet(const HttpsServer& server, const std::string& host)
{
    return clientOf(server, host).Get("path");
}

} // namespace keepsafe_test
