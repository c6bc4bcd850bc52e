/// Whom a client talks to, and what it shows to whom.

#include <array>
#include <cstdlib>
#include <string>
#include <vector>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HttpTest.h"

namespace keepsafe_test {
namespace {

using testing::AnyOf;

class ServerCertificate : public HttpTest {
protected:
    /// The status of a request to a server that shows the certificate, which must not get the request.
    int statusWith(const CertificateFiles& files, const std::string& host = "127.0.0.1")
    {
        HttpsServer::Settings settings = serverSettings();
        settings.certificate = files;
        const HttpsServer server(settings);
        const int status = clientOf(server, host).Get("path");
        EXPECT_EQ(server.connections(), 1U);
        EXPECT_EQ(server.requests().empty(), status != CURLE_OK);
        return status;
    }
};

TEST_F(ServerCertificate, OfTheConfiguredCaForTheNameThatWasAskedIsAccepted)
{
    EXPECT_EQ(statusWith(ca.issue({"address", "serverAuth", "IP:127.0.0.1"})), CURLE_OK);
    EXPECT_EQ(statusWith(ca.issue({"name", "serverAuth", "DNS:localhost"}), "localhost"), CURLE_OK);
}

TEST_F(ServerCertificate, OfAnotherHostIsRefused)
{
    EXPECT_EQ(statusWith(ca.issue({"other", "serverAuth", "DNS:other.example,IP:127.0.0.2"})),
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(statusWith(ca.issue({"address", "serverAuth", "IP:127.0.0.1"}), "localhost"),
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(statusWith(ca.issue({"text", "serverAuth", "DNS:127.0.0.1"})), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(ServerCertificate, WithoutAnAlternativeNameIsRefusedWhateverItsCommonNameIs)
{
    EXPECT_EQ(statusWith(ca.issue({"localhost", "serverAuth", ""}), "localhost"),
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(statusWith(ca.issue({"127.0.0.1", "serverAuth", ""})), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(statusWith(ca.issue({"localhost", "serverAuth", "URI:https://localhost/,email:a@localhost"}),
                         "localhost"),
              CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(ServerCertificate, ThatNamesOnlyAPartOfTheHostIsRefused)
{
    EXPECT_EQ(statusWith(ca.issue({"part", "serverAuth", "DNS:local*"}), "localhost"),
              CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(ServerCertificate, ThatHasExpiredOrIsNotYetValidIsRefused)
{
    EXPECT_EQ(statusWith(ca.issue({"old", "serverAuth", "IP:127.0.0.1", -7200, -3600})),
              CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(statusWith(ca.issue({"future", "serverAuth", "IP:127.0.0.1", 3600, 7200})),
              CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(ServerCertificate, ThatNobodyOrAnotherCaIssuedIsRefused)
{
    EXPECT_EQ(statusWith(selfSigned(root.path(), {"self", "serverAuth", "IP:127.0.0.1"})),
              CURLE_PEER_FAILED_VERIFICATION);
    const CertificateAuthority foreign(root.path(), "foreign");
    EXPECT_EQ(statusWith(foreign.issueForServer("foreign-server")), CURLE_PEER_FAILED_VERIFICATION);
    const CertificateAuthority sameName(root.path("etc"), "ca");
    // The signature does not fit, which libcurl tells as an error of the handshake.
    EXPECT_EQ(statusWith(sameName.issueForServer("server")), CURLE_SSL_CONNECT_ERROR);
}

TEST_F(ServerCertificate, ForClientsIsRefused)
{
    EXPECT_EQ(statusWith(ca.issue({"client", "clientAuth", "IP:127.0.0.1"})), CURLE_PEER_FAILED_VERIFICATION);
}

TEST_F(ServerCertificate, MustBeVerified)
{
    const HttpsServer server(serverSettings());
    const bool aborted = false;
    KSClientCURL trusting("127.0.0.1", server.port(), CERT_TYPE_HOST, 1, nullptr, "", "", "", false, false,
                          false, false, aborted, 0);
    EXPECT_EQ(trusting.Get("path"), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(server.connections(), 0U);
}

using ClientCertificate = HttpTest;

// Under TLS 1.3 a client learns of the server's refusal when it has begun to send its request.
const auto IS_REFUSED = AnyOf(CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_SSL_CONNECT_ERROR, CURLE_GOT_NOTHING);

TEST_F(ClientCertificate, MustBeShownToAServerThatAsksForIt)
{
    const HttpsServer server(serverSettings());
    EXPECT_THAT(clientOf(server.port(), "127.0.0.1", CERT_TYPE_NONE).Get("path"), IS_REFUSED);
    EXPECT_EQ(server.handshakes(), 0U);
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
}

TEST_F(ClientCertificate, OfAnotherCaIsRefused)
{
    const HttpsServer server(serverSettings());
    const CertificateAuthority foreign(root.path(), "foreign");
    hostFiles = foreign.issueForClient("foreign-host");
    configure();
    EXPECT_THAT(statusOfGet(server), IS_REFUSED);
    EXPECT_EQ(server.handshakes(), 0U);
}

TEST_F(ClientCertificate, ThatHasExpiredIsRefused)
{
    const HttpsServer server(serverSettings());
    hostFiles = ca.issue({"old", "clientAuth", "", -7200, -3600});
    configure();
    EXPECT_THAT(statusOfGet(server), IS_REFUSED);
    EXPECT_EQ(server.handshakes(), 0U);
}

using TlsVersion = HttpTest;

TEST_F(TlsVersion, MustBe12OrLater)
{
    HttpsServer::Settings settings = serverSettings();
    settings.onlyTls11 = true;
    const HttpsServer old(settings);
    EXPECT_EQ(statusOfGet(old), CURLE_SSL_CONNECT_ERROR);
    EXPECT_EQ(old.handshakes(), 0U);

    settings.onlyTls11 = false;
    settings.onlyTls12 = true;
    const HttpsServer recent(settings);
    EXPECT_EQ(statusOfGet(recent), CURLE_OK);
}

class Redirects : public HttpTest, public testing::WithParamInterface<int> {};

TEST_P(Redirects, AreReturnedAndNotFollowed)
{
    const HttpsServer second(serverSettings());
    for (const std::string scheme : {"https://", "http://", "//"}) {
        HttpsServer first(serverSettings());
        first.playNext(answer(GetParam(), "{}",
                              "Location: " + scheme + "127.0.0.1:" + std::to_string(second.port()) +
                                  "/path\r\nRefresh: 0\r\n"));
        KSClientCURL client = clientOf(first);
        EXPECT_EQ(client.Post("path", "{}"), CURLE_OK);
        EXPECT_EQ(client.httpStatus(), GetParam());
        EXPECT_EQ(first.requests().size(), 1U);
    }
    EXPECT_EQ(second.connections(), 0U);
}

INSTANTIATE_TEST_SUITE_P(OfEachKind, Redirects, testing::Values(300, 301, 302, 303, 307, 308));

TEST_F(Redirects, AreNotFollowedByAClientThatWasToldTo)
{
    const HttpsServer second(serverSettings());
    HttpsServer first(serverSettings());
    first.playNext(
        answer(302, "{}", "Location: https://127.0.0.1:" + std::to_string(second.port()) + "/path\r\n"));
    const bool aborted = false;
    KSClientCURL client("127.0.0.1", first.port(), CERT_TYPE_HOST, 1, nullptr, "user", "password", "domain",
                        true, true, true, true, aborted, 1);
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.httpStatus(), 302);
    EXPECT_EQ(second.connections(), 0U);
    EXPECT_EQ(first.requests().front().headers.size(), 2U);
}

/// Variables that are set for the test alone.
class Environment {
public:
    explicit Environment(std::vector<std::string> names, const std::string& value) : names_(std::move(names))
    {
        for (const std::string& name : names_) {
            EXPECT_EQ(::setenv(name.c_str(), value.c_str(), 1), 0);
        }
    }
    ~Environment()
    {
        for (const std::string& name : names_) {
            ::unsetenv(name.c_str());
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    std::vector<std::string> names_;
};

TEST_F(HttpTest, ProxiesOfTheEnvironmentAreNotUsed)
{
    const HttpsServer proxy(serverSettings());
    const HttpsServer server(serverSettings());
    const Environment environment({"https_proxy", "HTTPS_PROXY", "http_proxy", "all_proxy", "ALL_PROXY"},
                                  "https://127.0.0.1:" + std::to_string(proxy.port()));
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
    EXPECT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(proxy.connections(), 0U);
}

TEST_F(HttpTest, CookiesAndChallengesAreNotAnswered)
{
    HttpsServer server(serverSettings());
    KSClientCURL client = clientOf(server);
    server.playNext(answer(401, "{}", "Set-Cookie: a=b\r\nWWW-Authenticate: Basic realm=\"x\"\r\n"));
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.httpStatus(), 401);
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(server.requests().size(), 2U);
    EXPECT_EQ(server.requests().back().headers.size(), 2U);
}

} // namespace
} // namespace keepsafe_test
