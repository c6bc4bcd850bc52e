/// Files of `[tls]` that are missing or cannot be used.

#include <array>
#include <csignal>
#include <string>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "HttpTest.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using testing::ElementsAre;

class TlsFiles : public HttpTest {
protected:
    /// The one line of the log after a request that ended with the status before it reached the network.
    std::string failure(int expectedStatus, cert_type certificate = CERT_TYPE_HOST)
    {
        const CapturedLog log;
        KSClientCURL client = clientOf(server.port(), "127.0.0.1", certificate);
        EXPECT_EQ(client.Get("path"), expectedStatus);
        reason = client.failureReason();
        EXPECT_EQ(server.handshakes(), 0U);
        if (log.lines().size() != 1 || log.lines()[0].level != 16 ||
            log.lines()[0].tag != "KSClientCURL::request") {
            ADD_FAILURE() << testing::PrintToString(log.lines());
            return {};
        }
        EXPECT_EQ(reason.rfind(log.lines()[0].text, 0), 0U) << reason;
        return log.lines()[0].text;
    }

    void useEncryptedKey()
    {
        const std::string encrypted = root.path("encrypted.key");
        encryptKey(hostFiles.key, encrypted, "pass phrase");
        hostFiles.key = encrypted;
        configure();
    }

    HttpsServer server{serverSettings()};
    std::string reason;
};

TEST_F(TlsFiles, ThatAreNotConfiguredAreNamed)
{
    const std::string file = root.path("etc/keepsafe.toml");
    writeFile(file, "");
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM), "no certificate: \"tls.certificate\" is not configured");
    EXPECT_EQ(reason, "no certificate: \"tls.certificate\" is not configured in " + file);
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE, CERT_TYPE_NONE),
              "no CA certificates: \"tls.ca\" is not configured");
    writeFile(file, "[tls]\ncertificate = \"" + hostFiles.certificate + "\"\n");
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM), "no private key: \"tls.key\" is not configured");
    writeFile(file,
              "[tls]\ncertificate = \"" + hostFiles.certificate + "\"\nkey = \"" + hostFiles.key + "\"\n");
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE), "no CA certificates: \"tls.ca\" is not configured");
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(TlsFiles, ThatAreMissingAreNamed)
{
    ::unlink(hostFiles.key.c_str());
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM),
              "cannot read the private key \"" + hostFiles.key + "\": No such file or directory");
    ::unlink(hostFiles.certificate.c_str());
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM),
              "cannot read the certificate \"" + hostFiles.certificate + "\": No such file or directory");
    ::unlink(caFile.c_str());
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE, CERT_TYPE_NONE),
              "cannot read the CA certificates \"" + caFile + "\": No such file or directory");
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(TlsFiles, ThatAreMissingAreFoundOnceTheyAreThere)
{
    const std::string key = readFile(hostFiles.key);
    ::unlink(hostFiles.key.c_str());
    failure(CURLE_SSL_CERTPROBLEM);
    writeFile(hostFiles.key, key);
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
}

TEST_F(TlsFiles, ThatEverybodyMayWriteAreNotUsed)
{
    ASSERT_EQ(::chmod(caFile.c_str(), 0666), 0);
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE, CERT_TYPE_NONE),
              "cannot read the CA certificates \"" + caFile + "\": writable by everybody");
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(TlsFiles, ThatAreNoFilesAreNamed)
{
    ::unlink(hostFiles.key.c_str());
    ASSERT_EQ(::mkdir(hostFiles.key.c_str(), 0700), 0);
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM),
              "cannot read the private key \"" + hostFiles.key + "\": not a regular file");
    ::unlink(caFile.c_str());
    ASSERT_EQ(::mkfifo(caFile.c_str(), 0600), 0);
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE, CERT_TYPE_NONE),
              "cannot read the CA certificates \"" + caFile + "\": not a regular file");
    EXPECT_EQ(server.connections(), 0U);
}

TEST_F(TlsFiles, ThatAreNotWhatTheyShouldBeAreNamed)
{
    const std::string key = readFile(hostFiles.key);
    const std::string pair = "cannot use the certificate \"" + hostFiles.certificate +
                             "\" with the private key \"" + hostFiles.key + "\": ";
    for (const std::string& text :
         {std::string(), std::string("no key"), key.substr(0, key.size() / 2), readFile(serverFiles.key)}) {
        writeFile(hostFiles.key, text);
        EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM).rfind(pair, 0), 0U);
    }
    writeFile(hostFiles.key, key);
    writeFile(hostFiles.certificate, "no certificate");
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM).rfind(pair, 0), 0U);
    writeFile(caFile, "no certificate");
    EXPECT_EQ(failure(CURLE_SSL_CACERT_BADFILE, CERT_TYPE_NONE)
                  .rfind("cannot use the CA certificates \"" + caFile + "\": ", 0),
              0U);
    EXPECT_EQ(server.requests().size(), 0U);
}

TEST_F(TlsFiles, WithAPassPhraseCannotBeUsed)
{
    useEncryptedKey();
    EXPECT_EQ(failure(CURLE_SSL_CERTPROBLEM)
                  .rfind("cannot use the certificate \"" + hostFiles.certificate +
                             "\" with the private key \"" + hostFiles.key + "\": ",
                         0),
              0U);
}

TEST_F(TlsFiles, WithAPassPhraseAreNotAskedForOnTheTerminal)
{
    useEncryptedKey();
    int terminal = -1;
    const pid_t child = ::forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0) {
        ::_exit(statusOfGet(server) == CURLE_SSL_CERTPROBLEM ? 0 : 1);
    }
    ASSERT_GT(child, 0);
    std::string shown;
    std::array<char, 256> block;
    ssize_t size = 0;
    while (shown.find("pass phrase") == std::string::npos &&
           (size = ::read(terminal, block.data(), block.size())) > 0) {
        shown.append(block.data(), static_cast<std::size_t>(size));
    }
    if (size > 0) {
        ADD_FAILURE() << shown;
        ::kill(child, SIGKILL);
    }
    int status = -1;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    ::close(terminal);
}

TEST_F(TlsFiles, ThatAreReplacedServeTheNextRequest)
{
    KSClientCURL client = clientOf(server);
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    const CertificateFiles renewed = ca.issueForClient("renewed");
    ASSERT_EQ(::rename(renewed.key.c_str(), hostFiles.key.c_str()), 0);
    ASSERT_EQ(::rename(renewed.certificate.c_str(), hostFiles.certificate.c_str()), 0);
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(server.requests()[0].clientName, "host");
    EXPECT_EQ(server.requests()[1].clientName, "renewed");
    EXPECT_EQ(server.requests()[1].connection, 2U);
}

TEST_F(TlsFiles, OfACaThatIsReplacedNoLongerTrustItsServers)
{
    KSClientCURL client = clientOf(server);
    ASSERT_EQ(client.Get("path"), CURLE_OK);
    const CertificateAuthority other(root.path(), "other");
    ASSERT_EQ(::rename(other.file().c_str(), caFile.c_str()), 0);
    EXPECT_EQ(client.Get("path"), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(TlsFiles, OfAConfigurationInErrorAreNotUsed)
{
    const std::string file = root.path("etc/keepsafe.toml");
    writeFile(file, "[tls]\ncertificates = 1\n");
    const std::string why = file + ":2:1: unknown key \"tls.certificates\"";
    const CapturedLog log;
    for (int round = 0; round < 2; ++round) {
        KSClientCURL client = clientOf(server);
        EXPECT_EQ(client.Get("path"), CURLE_FAILED_INIT);
        EXPECT_EQ(client.failureReason(), why);
    }
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "KSClientCURL::request", why}));
    EXPECT_EQ(server.connections(), 0U);
}

} // namespace
} // namespace keepsafe_test
