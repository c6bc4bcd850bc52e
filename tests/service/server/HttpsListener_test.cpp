// The listener with an answerer that knows nothing of the service, and clients that may send anything.

#include "server/HttpsListener.h"

#include <chrono>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/platform/http/KSClientCURL.h>

#include "errors/InputError.h"
#include "service/server/TlsConnection.h"
#include "support/Certificates.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace {

using keepsafe_sandbox::HttpsListener;
using keepsafe_sandbox::ListenAddress;
using keepsafe_sandbox::RequestAnswerer;
using keepsafe_sandbox::ServerTlsFiles;
using keepsafe_sandbox::ServiceRequest;
using keepsafe_sandbox::ServiceResponse;
using keepsafe_test::CertificateAuthority;
using keepsafe_test::CertificateFiles;
using keepsafe_test::TlsConnection;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr std::size_t MOST_BODY = 1000;

class Listener : public testing::Test {
protected:
    Listener() { start(); }
    ~Listener() override { stop(); }

    void start()
    {
        listener_ = std::make_unique<HttpsListener>(address_, files_, answerer());
        running_ = std::async(std::launch::async, [this] { listener_->run(); });
    }

    void stop()
    {
        if (listener_ != nullptr) {
            listener_->stop();
            running_.get();
            listener_.reset();
        }
    }

    RequestAnswerer answerer()
    {
        return {[this](const ServiceRequest& request) { return answer(request); },
                [](const std::string& /*target*/) { return MOST_BODY; }};
    }

    ServiceResponse answer(const ServiceRequest& request)
    {
        {
            const std::lock_guard<std::mutex> guard(mutex_);
            requests_.push_back(request.method + ' ' + request.target + ' ' + request.body);
        }
        if (request.target == "/slow") {
            slowBegan_.set_value();
            slowMayEnd_.get_future().wait();
        }
        if (request.target == "/none") {
            return {204, "", ""};
        }
        if (request.target == "/teapot") {
            return {405, "{}", "GET, PUT"};
        }
        return {200, R"({"answer":"0123456789"})", ""};
    }

    std::vector<std::string> requests()
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        return requests_;
    }

    [[nodiscard]] TlsConnection connect(const CertificateFiles& client, int mostVersion = 0) const
    {
        return TlsConnection(address_.host, address_.port, authority_.file(), client, mostVersion);
    }
    [[nodiscard]] TlsConnection connect() const { return connect(client_); }

    /// The whole response to some bytes, until the listener closes or nothing more comes of a whole one.
    [[nodiscard]] std::string responseTo(const std::string& bytes) const
    {
        TlsConnection connection = connect();
        connection.send(bytes);
        return connection.response();
    }

    const keepsafe_test::TempDir folder_;
    const CertificateAuthority authority_{folder_.path(), "ca"};
    const ListenAddress address_{keepsafe_test::ownAddress()};
    const CertificateFiles server_ =
        authority_.issue({"server", "serverAuth", "IP:" + keepsafe_test::ownAddress()});
    const CertificateFiles client_ = authority_.issueForClient("host");
    const ServerTlsFiles files_{server_.certificate, server_.key, authority_.file()};
    std::mutex mutex_;
    std::vector<std::string> requests_;
    std::promise<void> slowBegan_;
    std::promise<void> slowMayEnd_;
    std::unique_ptr<HttpsListener> listener_;
    std::future<void> running_;
};

const std::string GET = "GET /a%7Cb?c=%20 HTTP/1.1\r\nHost: x\r\n\r\n";

TEST_F(Listener, HandsOverTheTargetAsItCame)
{
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(requests(), ElementsAre("GET /a%7Cb?c=%20 "));
}

TEST_F(Listener, HandsOverBodiesOfEveryMethodThatHasOne)
{
    for (const char* method : {"POST", "PUT", "PATCH"}) {
        EXPECT_THAT(responseTo(std::string(method) + " /x HTTP/1.1\r\nContent-Length: 3\r\n\r\nabc"),
                    HasSubstr("0123456789"));
    }
    EXPECT_THAT(
        responseTo("POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n2\r\nde\r\n1\r\nf\r\n0\r\n\r\n"),
        HasSubstr("0123456789"));
    EXPECT_THAT(requests(), ElementsAre("POST /x abc", "PUT /x abc", "PATCH /x abc", "POST /x def"));
}

TEST_F(Listener, HandsOverOddBytesOfTheTarget)
{
    const std::string odd = "/a\xFF%zz%00%";
    EXPECT_THAT(responseTo("GET " + odd + " HTTP/1.1\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(requests(), ElementsAre("GET " + odd + ' '));
}

TEST_F(Listener, KeepsAConnectionForManyRequests)
{
    TlsConnection connection = connect();
    for (int i = 0; i < 20; ++i) {
        connection.send(GET);
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 OK\r\n"));
    }
    EXPECT_EQ(requests().size(), 20U);
}

TEST_F(Listener, SendsNoBodyWith204AndTheMethodsWith405)
{
    EXPECT_THAT(responseTo("GET /none HTTP/1.1\r\n\r\n"),
                testing::AllOf(StartsWith("HTTP/1.1 204 No Content\r\n"), EndsWith("\r\n\r\n")));
    EXPECT_THAT(
        responseTo("GET /teapot HTTP/1.1\r\n\r\n"),
        testing::AllOf(StartsWith("HTTP/1.1 405 "), HasSubstr("\r\nAllow: GET, PUT\r\n"), EndsWith("{}")));
}

TEST_F(Listener, SendsTheWholeDocumentWhateverRangeIsAskedFor)
{
    EXPECT_THAT(responseTo("GET /x HTTP/1.1\r\nRange: bytes=0-3\r\n\r\n"),
                testing::AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("0123456789")));
}

TEST_F(Listener, ResumesTlsSessions)
{
    TlsConnection first = connect();
    first.send(GET);
    (void)first.response();
    TlsConnection second(address_.host, address_.port, authority_.file(), client_, 0, first.session());
    second.send(GET);
    EXPECT_THAT(second.response(), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_TRUE(second.isResumed());
}

struct BadRequest {
    const char* name;
    std::string bytes;
    int status;
    const char* message;
};

void PrintTo(const BadRequest& request, std::ostream* stream) { *stream << request.name; }

class BadRequests : public Listener, public testing::WithParamInterface<BadRequest> {};

TEST_P(BadRequests, GetAnErrorDocumentAndTheEndOfTheConnection)
{
    TlsConnection connection = connect();
    connection.send(GetParam().bytes);
    const std::string response = connection.response();
    EXPECT_THAT(response, StartsWith("HTTP/1.1 " + std::to_string(GetParam().status) + ' '));
    EXPECT_THAT(response, HasSubstr("\r\nContent-Type: application/json\r\n"));
    EXPECT_THAT(response, EndsWith(std::string("\r\n\r\n{\"errorCode\":20,\"errorMessage\":\"") +
                                   GetParam().message + "\"}"));
    EXPECT_TRUE(connection.isClosed());
    EXPECT_TRUE(requests().empty());
}

const char NOT_HTTP[] = "not a request that HTTP allows";
const char TWICE[] = "the request says more than once how long its body is";
const char TOO_LONG[] = "the request's body is too long";

INSTANTIATE_TEST_SUITE_P(
    Table, BadRequests,
    testing::Values(
        BadRequest{"NoHttp", "hello\r\n\r\n", 400, NOT_HTTP},
        BadRequest{"UnknownMethod", "BREW /x HTTP/1.1\r\n\r\n", 400, NOT_HTTP},
        BadRequest{"UnknownVersion", "GET /x HTTP/3.0\r\n\r\n", 400, NOT_HTTP},
        BadRequest{"TwoQuestionMarks", "GET /x?a?b HTTP/1.1\r\n\r\n", 400, NOT_HTTP},
        BadRequest{"ZeroByte", std::string("GET /a\0b HTTP/1.1\r\n\r\n", 22), 400, NOT_HTTP},
        BadRequest{"VeryLongTarget", "GET /" + std::string(9000, 'a') + " HTTP/1.1\r\n\r\n", 414,
                   "the request's target is too long"},
        BadRequest{"TwoLengths", "POST /x HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nab", 400,
                   TWICE},
        BadRequest{"LengthAndChunks",
                   "POST /x HTTP/1.1\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n",
                   400, TWICE},
        BadRequest{"OtherCoding", "POST /x HTTP/1.1\r\nTransfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n",
                   400, "the header Transfer-Encoding is not \\\"chunked\\\""},
        BadRequest{"LengthIsNoNumber", "POST /x HTTP/1.1\r\nContent-Length: 1a\r\n\r\na", 400,
                   "the header Content-Length is no number"},
        BadRequest{"NegativeLength", "POST /x HTTP/1.1\r\nContent-Length: -1\r\n\r\na", 400,
                   "the header Content-Length is no number"},
        BadRequest{"HiddenRequest",
                   "GET /x HTTP/1.1\r\nContent-Length: 28\r\n\r\nGET /hidden HTTP/1.1\r\nA: b\r\n\r\n", 400,
                   "a request of this method has no body"},
        BadRequest{"BodyOfDelete", "DELETE /x HTTP/1.1\r\nContent-Length: 1\r\n\r\na", 400,
                   "a request of this method has no body"},
        BadRequest{"CompressedBody",
                   "POST /x HTTP/1.1\r\nContent-Encoding: gzip\r\nContent-Length: 1\r\n\r\na", 415,
                   "the header Content-Encoding is not supported"},
        BadRequest{"TooLong", "POST /x HTTP/1.1\r\nContent-Length: 1001\r\n\r\n", 413, TOO_LONG},
        BadRequest{"TooLongAndAsksFirst",
                   "POST /x HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 1001\r\n\r\n", 413, TOO_LONG},
        BadRequest{"TooLongInChunks",
                   "POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3E9\r\n" + std::string(1001, 'a') +
                       "\r\n0\r\n\r\n",
                   413, TOO_LONG},
        BadRequest{"BadChunk", "POST /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n\r\n", 400,
                   "the request's body does not end well"}),
    [](const testing::TestParamInfo<BadRequest>& tested) { return std::string(tested.param.name); });

TEST_F(Listener, RefusesAClientWithoutACertificateOrWithAForeignOne)
{
    const CertificateAuthority foreign(folder_.path(), "foreign");
    EXPECT_EQ(connect({}).tryExchange(GET), "");
    EXPECT_EQ(connect(foreign.issueForClient("other")).tryExchange(GET), "");
    EXPECT_EQ(connect(server_).tryExchange(GET), "") << "a server's certificate is none for clients";
    EXPECT_EQ(connect(authority_.issue({"old", "clientAuth", "", -7200, -3600})).tryExchange(GET), "");
    EXPECT_TRUE(requests().empty());
}

TEST_F(Listener, SpeaksTls12ButNotOlder)
{
    EXPECT_EQ(connect(client_, TLS1_1_VERSION).tryExchange(GET), "");
    EXPECT_THAT(connect(client_, TLS1_2_VERSION).tryExchange(GET), StartsWith("HTTP/1.1 200 "));
    EXPECT_EQ(requests().size(), 1U);
}

TEST_F(Listener, SharesItsAddressWithNobody)
{
    try {
        const HttpsListener second(address_, files_, answerer());
        FAIL() << "the address was taken twice";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(std::string(error.what()),
                  "cannot listen on " + address_.text() + ": Address already in use");
    }
}

TEST_F(Listener, NamesAnAddressThatIsNone)
{
    try {
        const HttpsListener other({"no such host.invalid"}, files_, answerer());
        FAIL() << "no error";
    } catch (const std::runtime_error& error) {
        EXPECT_THAT(error.what(), StartsWith("cannot listen on no such host.invalid:1556: "));
    }
}

TEST_F(Listener, NamesAFileThatCannotBeUsed)
{
    const std::string none = folder_.path("none");
    for (const ServerTlsFiles& files : {ServerTlsFiles{none, server_.key, authority_.file()},
                                        ServerTlsFiles{server_.certificate, none, authority_.file()},
                                        ServerTlsFiles{server_.certificate, server_.key, none}}) {
        try {
            const HttpsListener other(address_, files, answerer());
            FAIL() << "no error";
        } catch (const keepsafe_sandbox::InputError& error) {
            EXPECT_THAT(error.what(), StartsWith(none + " cannot be used as "));
        }
    }
}

TEST_F(Listener, EndsAtOnceWhileClientsAreConnectedAndCanBeStartedAgain)
{
    TlsConnection idle = connect();
    idle.send(GET);
    (void)idle.response();
    for (int i = 0; i < 3; ++i) {
        const auto begin = std::chrono::steady_clock::now();
        stop();
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(20))
            << "keep-alive is a minute";
        start();
        EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 "));
    }
    EXPECT_TRUE(idle.isClosed());
}

TEST_F(Listener, AnswersWhatHasComeBeforeItEnds)
{
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\n\r\n");
    slowBegan_.get_future().wait();
    std::future<void> stopping = std::async(std::launch::async, [this] { stop(); });
    while (connect().tryExchange(GET) != "") { // until it has begun to end
    }
    slowMayEnd_.set_value();
    EXPECT_THAT(slow.response(), HasSubstr("0123456789"));
    stopping.get();
}

TEST_F(Listener, CanBeStoppedBeforeItHasBegun)
{
    stop();
    HttpsListener other(address_, files_, answerer());
    std::future<void> stopping = std::async(std::launch::async, [&other] { other.stop(); });
    other.run();
    stopping.get();
}

TEST_F(Listener, ServesManyConnectionsAtOnce)
{
    std::vector<TlsConnection> connections;
    for (int i = 0; i < 64; ++i) {
        connections.push_back(connect());
    }
    for (TlsConnection& connection : connections) {
        connection.send(GET);
    }
    for (TlsConnection& connection : connections) {
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 "));
    }
}

} // namespace
