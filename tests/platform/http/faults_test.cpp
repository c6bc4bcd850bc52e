/// Servers that fail or misbehave: each request ends with a status within its timeouts, and grants nothing.

#include <chrono>
#include <ostream>
#include <string>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpTest.h"
#include "support/CapturedLog.h"

namespace keepsafe_test {
namespace {

using std::chrono::milliseconds;
using testing::AnyOf;
using testing::ElementsAre;

const std::string OK_HEAD = "HTTP/1.1 200 OK\r\n";

/// A response that never comes whole, and the statuses that may tell so.
struct LostResponse {
    const char* name;
    Play play;
    int status;
    int otherStatus = status; ///< what the end of a connection shows as depends on what was read when it came

    friend std::ostream& operator<<(std::ostream& stream, const LostResponse& lost)
    {
        return stream << lost.name;
    }
};

class HttpFaults : public HttpTest {
protected:
    int statusOfGet() { return client.Get("path"); }
    void expectNoResponse()
    {
        EXPECT_EQ(client.httpStatus(), 0);
        EXPECT_EQ(client.responseBody(), "");
    }

    HttpsServer server{serverSettings()};
    KSClientCURL client = clientOf(server);
};

TEST_F(HttpFaults, OfTheGeneratorOfRandomNumbersEndWithTheNextRequest)
{
    ASSERT_EQ(EVP_RAND_uninstantiate(RAND_get0_primary(nullptr)), 1);
    ASSERT_NE(RAND_status(), 1);
    EXPECT_EQ(statusOfGet(), CURLE_OK);
}

class BrokenResponses : public HttpFaults, public testing::WithParamInterface<LostResponse> {};

TEST_P(BrokenResponses, GiveAStatusAndNoResponse)
{
    configure("response_limit = 100000\n");
    server.playNext(GetParam().play);
    EXPECT_THAT(statusOfGet(), AnyOf(GetParam().status, GetParam().otherStatus));
    expectNoResponse();
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_P(BrokenResponses, LeaveTheNextRequestAlone)
{
    configure("response_limit = 100000\n");
    server.playNext(GetParam().play);
    EXPECT_NE(statusOfGet(), CURLE_OK);
    EXPECT_EQ(client.Post("again", "{}"), CURLE_OK);
    EXPECT_EQ(client.responseBody(), "{}");
}

std::string lengthOf(const std::string& length) { return OK_HEAD + "Content-Length: " + length + "\r\n\r\n"; }

const std::string CHUNKED = OK_HEAD + "Transfer-Encoding: chunked\r\n\r\n";

INSTANTIATE_TEST_SUITE_P(
    Of, BrokenResponses,
    testing::Values(
        LostResponse{"ResetBefore", bytesThenReset(""), CURLE_RECV_ERROR, CURLE_GOT_NOTHING},
        LostResponse{"ClosedBefore", bytesThenClose(""), CURLE_GOT_NOTHING},
        LostResponse{"BrokenOffBefore", bytesThenBreakOff(""), CURLE_RECV_ERROR, CURLE_GOT_NOTHING},
        LostResponse{"ResetInTheHead", bytesThenReset("HTTP/1.1 200 O"), CURLE_RECV_ERROR},
        LostResponse{"BrokenOffInTheHead", bytesThenBreakOff("HTTP/1.1 200 OK\r\nCont"), CURLE_PARTIAL_FILE},
        LostResponse{"ClosedInTheHead", bytesThenClose(lengthOf("2").substr(0, lengthOf("2").size() - 2)),
                     CURLE_PARTIAL_FILE},
        LostResponse{"ResetInTheBody", bytesThenReset(lengthOf("10") + "{\"a\""), CURLE_RECV_ERROR},
        LostResponse{"ClosedInTheBody", bytesThenClose(lengthOf("10") + "{\"a\""), CURLE_PARTIAL_FILE},
        LostResponse{"BrokenOffInTheBody", bytesThenBreakOff(lengthOf("10") + "{\"a\""), CURLE_PARTIAL_FILE},
        LostResponse{"BrokenOffInABodyThatEndsWithTheConnection", bytesThenBreakOff(OK_HEAD + "\r\n{}"),
                     CURLE_PARTIAL_FILE},
        LostResponse{"ABodyThatEndsWithTheConnection", bytesThenClose(OK_HEAD + "\r\n{}"),
                     CURLE_PARTIAL_FILE},
        LostResponse{"LengthInAnInterimResponse",
                     bytesThenClose("HTTP/1.1 103 Early\r\nContent-Length: 2\r\n\r\n" + OK_HEAD + "\r\n{}"),
                     CURLE_PARTIAL_FILE},
        LostResponse{"ClosedInAChunk", bytesThenClose(CHUNKED + "5\r\nab"), CURLE_PARTIAL_FILE},
        LostResponse{"ClosedBetweenChunks", bytesThenClose(CHUNKED + "2\r\nab\r\n"), CURLE_PARTIAL_FILE},
        LostResponse{"ChunkOfNoSize", bytes(CHUNKED + "x\r\nab\r\n0\r\n\r\n"), CURLE_RECV_ERROR},
        LostResponse{"LengthBeyondTheBody", bytesThenClose(lengthOf("3") + "{}"), CURLE_PARTIAL_FILE},
        LostResponse{"LengthThatIsNoNumber", bytesThenClose(lengthOf("many") + "{}"),
                     CURLE_WEIRD_SERVER_REPLY},
        LostResponse{"LengthBelowZero", bytesThenClose(lengthOf("-1") + "{}"), CURLE_WEIRD_SERVER_REPLY},
        LostResponse{"LengthBeyondTheLimit", bytes(lengthOf("100001")), CURLE_FILESIZE_EXCEEDED},
        LostResponse{"LengthBeyondAllNumbers", bytes(lengthOf("99999999999999999999999")),
                     CURLE_FILESIZE_EXCEEDED},
        LostResponse{"EndlessBody", endless(OK_HEAD + "\r\n", std::string(1000, 'x')),
                     CURLE_FILESIZE_EXCEEDED},
        LostResponse{"EndlessChunks", endless(CHUNKED, "2\r\nab\r\n"), CURLE_FILESIZE_EXCEEDED},
        LostResponse{"EndlessHeaders", endless(OK_HEAD, "X-Header: " + std::string(1000, 'x') + "\r\n"),
                     CURLE_FILESIZE_EXCEEDED},
        LostResponse{"EndlessHeader", endless(OK_HEAD + "X: ", std::string(1000, 'x')), CURLE_OUT_OF_MEMORY},
        LostResponse{"EndlessInterimResponses", endless("", "HTTP/1.1 100 Continue\r\n\r\n"),
                     CURLE_FILESIZE_EXCEEDED},
        LostResponse{"EndlessTrailers",
                     endless(CHUNKED + "2\r\nab\r\n0\r\n", "X-Trailer: " + std::string(1000, 'x') + "\r\n"),
                     CURLE_FILESIZE_EXCEEDED},
        LostResponse{"NoHead", bytesThenClose("{}"), CURLE_UNSUPPORTED_PROTOCOL},
        LostResponse{"InterimResponseOnly", bytesThenClose("HTTP/1.1 100 Continue\r\n\r\n"),
                     CURLE_GOT_NOTHING}),
    [](const auto& instance) { return std::string(instance.param.name); });

TEST_F(HttpFaults, OfALengthShorterThanTheBodyCutIt)
{
    server.playNext(bytes(lengthOf("2") + "{}trailing"));
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    EXPECT_EQ(client.responseBody(), "{}");
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    EXPECT_EQ(client.responseBody(), "{}");
    EXPECT_EQ(server.requests().back().connection, 2U);
}

TEST_F(HttpFaults, AfterAWholeResponseDoNotTouchIt)
{
    server.playNext(bytesThenReset(lengthOf("2") + "{}"));
    const int status = statusOfGet();
    EXPECT_THAT(status, AnyOf(CURLE_OK, CURLE_RECV_ERROR));
    EXPECT_EQ(client.responseBody(), status == CURLE_OK ? "{}" : "");
    EXPECT_EQ(statusOfGet(), CURLE_OK);
}

TEST_F(HttpFaults, OfTheBodyStopAtTheLimit)
{
    configure("response_limit = 10\n");
    server.playNext(answer(200, "0123456789"));
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    EXPECT_EQ(client.responseBody(), "0123456789");
    server.playNext(answer(200, "0123456789a"));
    EXPECT_EQ(statusOfGet(), CURLE_FILESIZE_EXCEEDED);
    server.playNext(bytes(CHUNKED + "a\r\n0123456789\r\n0\r\n\r\n"));
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    server.playNext(bytes(CHUNKED + "b\r\n0123456789a\r\n0\r\n\r\n"));
    EXPECT_EQ(statusOfGet(), CURLE_FILESIZE_EXCEEDED);
    expectNoResponse();
}

TEST_F(HttpFaults, LetAResponseOfTheDefaultLimitPass)
{
    constexpr std::size_t limit = 67'108'864;
    const std::string body(limit, 'x'); // NOLINT(bugprone-string-constructor)
    server.playNext(answer(200, body));
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    EXPECT_TRUE(client.responseBody() == body);
    server.playNext(answer(200, body + 'x'));
    EXPECT_EQ(statusOfGet(), CURLE_FILESIZE_EXCEEDED);
}

TEST_F(HttpFaults, OfAServerThatSaysNothingEndWithTheStallTimeout)
{
    configure("stall_timeout = 1\n");
    server.playNext(silence());
    EXPECT_EQ(statusOfGet(), CURLE_OPERATION_TIMEDOUT);
    expectNoResponse();
}

TEST_F(HttpFaults, OfAServerThatStopsInTheBodyEndWithTheStallTimeout)
{
    configure("stall_timeout = 1\n");
    server.playNext([](ServerConnection& connection, const RecordedRequest& request) {
        connection.send(lengthOf("10") + "{\"a\"");
        silence()(connection, request);
    });
    EXPECT_EQ(statusOfGet(), CURLE_OPERATION_TIMEDOUT);
    expectNoResponse();
}

TEST_F(HttpFaults, OfAServerThatSendsAByteASecondEndWithTheStallTimeout)
{
    configure("stall_timeout = 2\n");
    server.playNext(endless(lengthOf("1000"), "x", milliseconds(1000)));
    EXPECT_EQ(statusOfGet(), CURLE_OPERATION_TIMEDOUT);
    expectNoResponse();
}

TEST_F(HttpFaults, OfAServerThatIsSteadyButSlowEndWithTheTotalTimeout)
{
    configure("total_timeout = 1\n");
    server.playNext(endless(lengthOf("100000"), std::string(20, 'x'), milliseconds(10)));
    EXPECT_EQ(statusOfGet(), CURLE_OPERATION_TIMEDOUT);
    expectNoResponse();
}

TEST_F(HttpFaults, OfAServerThatNeverShakesHandsEndWithTheConnectTimeout)
{
    configure("connect_timeout = 1\n");
    HttpsServer::Settings settings = serverSettings();
    settings.greeting = HttpsServer::Greeting::Silence;
    const HttpsServer mute(settings);
    EXPECT_EQ(HttpTest::statusOfGet(mute), CURLE_OPERATION_TIMEDOUT);
}

TEST_F(HttpFaults, BeforeTheHandshakeAreConnectErrorsOfTls)
{
    for (const HttpsServer::Greeting greeting :
         {HttpsServer::Greeting::Close, HttpsServer::Greeting::Reset, HttpsServer::Greeting::NotTls}) {
        HttpsServer::Settings settings = serverSettings();
        settings.greeting = greeting;
        const HttpsServer broken(settings);
        EXPECT_EQ(HttpTest::statusOfGet(broken), CURLE_SSL_CONNECT_ERROR);
        EXPECT_EQ(broken.connections(), 1U);
    }
}

/// A port at which nothing listens and nobody else can listen meanwhile.
class ClosedPort {
public:
    ClosedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address_;
        EXPECT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address_), size), 0);
        EXPECT_EQ(::getsockname(socket_, reinterpret_cast<sockaddr*>(&address_), &size), 0);
    }
    ~ClosedPort() { ::close(socket_); }
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;
    [[nodiscard]] int number() const { return ntohs(address_.sin_port); }

private:
    int socket_;
    sockaddr_in address_{};
};

TEST_F(HttpFaults, WithoutAServerAreLoggedWithTheirReason)
{
    const ClosedPort port;
    const CapturedLog log;
    KSClientCURL refused = clientOf(port.number());
    EXPECT_EQ(refused.Get("path"), CURLE_COULDNT_CONNECT);
    ASSERT_EQ(log.lines().size(), 1U);
    EXPECT_EQ(log.lines()[0].level, 8);
    EXPECT_EQ(log.lines()[0].tag, "KSClientCURL::request");
    EXPECT_THAT(log.lines()[0].text,
                testing::MatchesRegex("GET https://127.0.0.1:" + std::to_string(port.number()) +
                                      "/ failed with status 7: Failed to connect to 127.0.0.1 port [0-9]+ "
                                      "after [0-9]+ ms: Couldn't connect to server"));
    EXPECT_EQ(refused.failureReason(), log.lines()[0].text);
}

TEST_F(HttpFaults, AreForgottenByTheNextRequest)
{
    server.playNext(bytesThenClose(""));
    server.playNext(answer(200, "{}"));
    EXPECT_EQ(statusOfGet(), CURLE_GOT_NOTHING);
    EXPECT_NE(client.failureReason(), "");
    EXPECT_EQ(statusOfGet(), CURLE_OK);
    EXPECT_EQ(client.failureReason(), "");
}

TEST_F(HttpFaults, OfANameThatDoesNotExistAreResolverErrors)
{
    EXPECT_EQ(clientOf(server.port(), "no-such-host.invalid").Get("path"), CURLE_COULDNT_RESOLVE_HOST);
}

TEST_F(HttpFaults, LikeARequestThatIsAbortedEndIt)
{
    bool aborted = false;
    server.playNext([&aborted](ServerConnection& connection, const RecordedRequest& request) {
        __atomic_store_n(&aborted, true, __ATOMIC_RELAXED);
        silence()(connection, request);
    });
    KSClientCURL abortable("127.0.0.1", server.port(), CERT_TYPE_HOST, 1, nullptr, "", "", "", true, false,
                           false, false, aborted, 0);
    EXPECT_EQ(abortable.Get("path"), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(abortable.Get("path"), CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HttpFaults, OfALongBodyThatTheServerDoesNotReadAreStatuses)
{
    // The client is in the middle of writing when the connection ends: no signal may end its process.
    server.playAlways(bytesThenReset(""));
    HttpsServer::Settings settings = serverSettings();
    for (int round = 0; round < 20; ++round) {
        EXPECT_THAT(client.Post("path", std::string(1'000'000, 'x')),
                    AnyOf(CURLE_RECV_ERROR, CURLE_SEND_ERROR, CURLE_GOT_NOTHING));
    }
}

} // namespace
} // namespace keepsafe_test
