/// Connections that live on from one client to the next.

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HttpTest.h"

namespace keepsafe_test {
namespace {

class Connections : public HttpTest {
protected:
    [[nodiscard]] unsigned lastConnection() const { return server.requests().back().connection; }

    HttpsServer server{serverSettings()};
};

TEST_F(Connections, ServeAThousandRequestsOfAsManyClients)
{
    for (int round = 0; round < 1000; ++round) {
        KSClientCURL client = clientOf(server);
        ASSERT_EQ(client.Get("path"), CURLE_OK);
        ASSERT_EQ(client.responseBody(), "{}");
    }
    EXPECT_EQ(server.requests().size(), 1000U);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(Connections, ServeRequestsThatMayBeRepeated)
{
    KSClientCURL client = clientOf(server);
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.Put("path", "{}"), CURLE_OK);
    EXPECT_EQ(client.Delete("path"), CURLE_OK);
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(Connections, OfRequestsThatMustNotBeRepeatedAreTheirOwn)
{
    KSClientCURL client = clientOf(server);
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(client.Post("path", "{}"), CURLE_OK);
    EXPECT_EQ(client.Patch("path", "{}"), CURLE_OK);
    EXPECT_EQ(server.connections(), 3U);
    EXPECT_EQ(server.waitForOpenConnections(1), 1U) << "they are closed after the response";
    EXPECT_EQ(client.Get("path"), CURLE_OK);
    EXPECT_EQ(lastConnection(), 1U) << "the kept one is still used";
}

/// A request of a method, sent when the client keeps a connection that the server closes once it has read it.
class KeptConnection : public Connections, public testing::WithParamInterface<std::string> {
protected:
    int sendAfterGet(const Play& play, const std::string& body = "{}")
    {
        EXPECT_EQ(statusOfGet(server), CURLE_OK);
        server.playNext(play);
        KSClientCURL client = clientOf(server);
        return GetParam() == "POST" ? client.Post("changes", body) : client.Patch("changes", body);
    }

    /// How many requests have come beside the first.
    [[nodiscard]] std::size_t changes() const { return server.requests().size() - 1; }
};

TEST_P(KeptConnection, ThatTheServerClosesAfterReadingDoesNotSendItTwice)
{
    EXPECT_NE(sendAfterGet(bytesThenClose("")), CURLE_OK);
    EXPECT_EQ(changes(), 1U);
    EXPECT_NE(sendAfterGet(bytesThenBreakOff("")), CURLE_OK);
    EXPECT_EQ(changes(), 3U) << "and one more GET";
    EXPECT_NE(sendAfterGet(bytesThenReset("")), CURLE_OK);
    EXPECT_EQ(changes(), 5U) << "and one more GET";
}

TEST_P(KeptConnection, ThatTheServerClosesAfterReadingDoesNotSendALongOrEmptyBodyTwice)
{
    EXPECT_NE(sendAfterGet(bytesThenClose(""), std::string(1 << 20, ' ')), CURLE_OK);
    EXPECT_NE(sendAfterGet(bytesThenClose(""), ""), CURLE_OK);
    EXPECT_EQ(changes(), 3U) << "of which one is a GET";
}

INSTANTIATE_TEST_SUITE_P(OfEachMethod, KeptConnection, testing::Values("POST", "PATCH"));

TEST_F(Connections, LiveOnAfterAResponseOfAnyStatus)
{
    for (const int status : {404, 409, 500, 302}) {
        server.playNext(answer(status, "{}"));
        EXPECT_EQ(statusOfGet(server), CURLE_OK);
    }
    EXPECT_EQ(server.connections(), 1U);
}

TEST_F(Connections, ThatTheServerClosedMeanwhileAreReplaced)
{
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(clientOf(server).Put("path", "{}"), CURLE_OK);
        server.closeConnections();
    }
    EXPECT_EQ(server.connections(), 5U);
    EXPECT_EQ(server.requests().size(), 5U);
}

TEST_F(Connections, ThatTheServerClosesInsteadOfARespondingAreReplaced)
{
    // As when the server closes an idle connection while the request is on its way.
    ASSERT_EQ(statusOfGet(server), CURLE_OK);
    server.playNext(bytesThenClose(""));
    EXPECT_EQ(clientOf(server).Put("path", "{}"), CURLE_OK);
    EXPECT_EQ(server.connections(), 2U);
    EXPECT_EQ(server.requests().back().body, "{}");
}

TEST_F(Connections, AreNotSharedByTwoServers)
{
    const HttpsServer other(serverSettings());
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(statusOfGet(server), CURLE_OK);
        EXPECT_EQ(statusOfGet(other), CURLE_OK);
    }
    EXPECT_EQ(server.connections(), 1U);
    EXPECT_EQ(other.connections(), 1U);
}

TEST_F(Connections, AreNotSharedByTwoNamesOfAServer)
{
    EXPECT_EQ(statusOfGet(server, "127.0.0.1"), CURLE_OK);
    EXPECT_EQ(statusOfGet(server, "localhost"), CURLE_OK);
    EXPECT_EQ(lastConnection(), 2U);
    EXPECT_EQ(statusOfGet(server, "127.0.0.1"), CURLE_OK);
    EXPECT_EQ(lastConnection(), 1U);
}

TEST_F(Connections, AreNotSharedByTwoCertificates)
{
    const CertificateFiles first = hostFiles;
    const CertificateFiles second = ca.issueForClient("second");
    for (int round = 0; round < 3; ++round) {
        hostFiles = first;
        configure();
        EXPECT_EQ(statusOfGet(server), CURLE_OK);
        EXPECT_EQ(server.requests().back().clientName, "host");
        EXPECT_EQ(lastConnection(), 1U);
        hostFiles = second;
        configure();
        EXPECT_EQ(statusOfGet(server), CURLE_OK);
        EXPECT_EQ(server.requests().back().clientName, "second");
        EXPECT_EQ(lastConnection(), 2U);
    }
}

TEST_F(Connections, AreNotSharedByClientsWithAndWithoutACertificate)
{
    HttpsServer::Settings settings = serverSettings();
    settings.clientMustHaveCertificate = false;
    const HttpsServer open(settings);
    EXPECT_EQ(statusOfGet(open), CURLE_OK);
    EXPECT_EQ(clientOf(open.port(), "127.0.0.1", CERT_TYPE_NONE).Get("path"), CURLE_OK);
    EXPECT_EQ(open.requests().back().clientName, "");
    EXPECT_EQ(open.requests().back().connection, 2U);
}

TEST_F(Connections, AreNotSharedByTwoCas)
{
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
    const CertificateAuthority foreign(root.path(), "foreign");
    caFile = foreign.file();
    configure();
    EXPECT_EQ(statusOfGet(server), CURLE_PEER_FAILED_VERIFICATION);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(Connections, ServeOneThreadAtATime)
{
    constexpr int THREADS = 16;
    constexpr int REQUESTS = 50;
    server.playAlways([](ServerConnection& connection, const RecordedRequest& request) {
        answer(200, request.target + request.body)(connection, request);
    });
    KSClientCURLFactory factory(CERT_TYPE_HOST);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([this, &factory, &right, number] {
            for (int round = 0; round < REQUESTS; ++round) {
                const std::unique_ptr<KSClientCURL_Base> client(
                    factory.create("127.0.0.1", server.port(), CLIENT_KIND_REST));
                const std::string path = std::to_string(number) + "/" + std::to_string(round);
                const bool sent = client->Put(path, "-" + path) == CURLE_OK;
                right += sent && client->responseBody() == "/" + path + "-" + path ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(right, THREADS * REQUESTS);
    EXPECT_LE(server.connections(), 16U);
}

/// Lets requests wait in the server until a number of them is there.
class Gathering {
public:
    explicit Gathering(int count) : missing_(count) {}

    void join()
    {
        std::unique_lock<std::mutex> lock(mutex_);
        --missing_;
        changed_.notify_all();
        changed_.wait_for(lock, std::chrono::seconds(60), [this] { return missing_ <= 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int missing_;
};

TEST_F(Connections, AreKeptOnlyUpToABound)
{
    constexpr int THREADS = 70;
    Gathering gathering(THREADS);
    server.playAlways([&gathering](ServerConnection& connection, const RecordedRequest& request) {
        gathering.join();
        answer(200, "{}")(connection, request);
    });
    std::atomic<int> successes{0};
    std::vector<std::thread> threads;
    threads.reserve(THREADS);
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([this, &successes] { successes += statusOfGet(server) == CURLE_OK ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(successes, THREADS);
    EXPECT_EQ(server.connections(), 70U);
    EXPECT_EQ(server.waitForOpenConnections(64), 64U);
}

TEST_F(Connections, OfARestartedServerAreReplacedWhileThreadsUseThem)
{
    std::atomic<bool> over{false};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this, &over] {
            while (!over) {
                // A request that meets the end of its connection may fail, and nothing else may come of it.
                KSClientCURL client = clientOf(server);
                const int status = client.Get("path");
                EXPECT_EQ(client.responseBody(), status == CURLE_OK ? "{}" : "");
            }
        });
    }
    for (int round = 0; round < 20; ++round) {
        const std::size_t before = server.requests().size();
        while (server.requests().size() < before + 20) {
            std::this_thread::yield();
        }
        server.closeConnections();
    }
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
}

} // namespace
} // namespace keepsafe_test
