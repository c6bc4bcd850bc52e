// The listener with an answerer that knows nothing of the service, and clients that may send anything.

#include "server/HttpsListener.h"

#include <chrono>
#include <filesystem>
#include <future>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <keepsafe/platform/http/KSClientCURL.h>

#include "errors/InputError.h"
#include "service/server/TlsConnection.h"
#include "service/server/bad_requests.h"
#include "support/CapturedLog.h"
#include "support/Certificates.h"
#include "support/Descriptor.h"
#include "support/PeakMemory.h"
#include "support/TempDir.h"
#include "support/own_address.h"
#include "support/thrown.h"

namespace {

using keepsafe_service::HttpsListener;
using keepsafe_service::ListenAddress;
using keepsafe_service::RequestAnswerer;
using keepsafe_service::ServerLimits;
using keepsafe_service::ServerTlsFiles;
using keepsafe_service::ServiceRequest;
using keepsafe_service::ServiceResponse;
using keepsafe_test::CertificateAuthority;
using keepsafe_test::CertificateFiles;
using keepsafe_test::Descriptor;
using keepsafe_test::thrownBy;
using keepsafe_test::TlsConnection;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::size_t MOST_BODY = keepsafe_test::BAD_REQUESTS_MOST_BODY;

/// What an answer may need for its document, in small pieces.
constexpr std::size_t GARBAGE = std::size_t(128) * 1024 * 1024;

constexpr std::size_t LARGE = std::size_t(32) * 1024 * 1024;

/// Seconds for a call.
template <typename Call>
double secondsOf(const Call& call)
{
    const auto begin = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Sends a byte every few moments until the peer closes.
template <typename Send>
void trickle(const Send& send)
{
    while (send()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

class Listener : public testing::Test {
protected:
    Listener() { start(); }
    ~Listener() override { stop(); }

    void start(const ServerLimits& limits = {})
    {
        listener_ = std::make_unique<HttpsListener>(address_, files_, answerer(), limits);
        running_ = std::async(std::launch::async, [this] { return listener_->run(); });
    }
    void restart(const ServerLimits& limits)
    {
        stop();
        start(limits);
    }

    /// Whether all requests were answered.
    bool stop()
    {
        if (listener_ == nullptr) {
            return true;
        }
        listener_->stop();
        const bool hasAnsweredAll = running_.get();
        listener_.reset();
        return hasAnsweredAll;
    }

    RequestAnswerer answerer()
    {
        return {[this](const ServiceRequest& request) { return answer(request); },
                [](const std::string& target) { return target == "/garbage" ? LARGE : MOST_BODY; }};
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
        if (request.target == "/client") {
            return {200, request.client, ""};
        }
        if (request.target == "/large") {
            return {200, std::string(LARGE, 'x'), ""};
        }
        if (request.target == "/garbage") {
            std::vector<std::unique_ptr<std::string>> pieces;
            for (std::size_t bytes = 0; bytes < GARBAGE; bytes += 128) {
                pieces.push_back(std::make_unique<std::string>(100, 'x'));
            }
            kept_.push_back(std::move(pieces.back())); // behind it, nothing can be cut off the heap
            return {200, "{}", ""};
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

    void waitForRequests(std::size_t count)
    {
        while (requests().size() < count) {
            std::this_thread::yield();
        }
    }

    /// A connection of TCP alone.
    [[nodiscard]] Descriptor connectWithoutTls() const
    {
        Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        connectSocket(socket);
        return socket;
    }

    void connectSocket(const Descriptor& socket) const
    {
        sockaddr_in peer = {};
        peer.sin_family = AF_INET;
        peer.sin_port = htons(static_cast<std::uint16_t>(address_.port));
        ::inet_pton(AF_INET, address_.host.c_str(), &peer.sin_addr);
        EXPECT_EQ(::connect(socket.get(), reinterpret_cast<const sockaddr*>(&peer), sizeof peer), 0);
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
    std::vector<std::unique_ptr<std::string>> kept_; // by one connection's requests, one after the other
    std::promise<void> slowBegan_;
    std::promise<void> slowMayEnd_;
    std::unique_ptr<HttpsListener> listener_;
    std::future<bool> running_;
};

const std::string GET = "GET /a%7Cb?c=%20 HTTP/1.1\r\nHost: x\r\n\r\n";

TEST_F(Listener, MakesProgressUntilItsWorkersAreStuckAndOthersWait)
{
    ServerLimits limits;
    limits.workers = 1;
    restart(limits);
    const auto hasMadeProgress = [this] {
        for (int i = 0; i < 100; ++i) { // its thread has to come round
            if (listener_->hasMadeProgress()) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return false;
    };
    EXPECT_TRUE(hasMadeProgress());
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    EXPECT_TRUE(hasMadeProgress()) << "a slow answer holds up nobody";
    TlsConnection waiting = connect();
    waiting.send("GET /x HTTP/1.1\r\nHost: x\r\n\r\n");
    while (hasMadeProgress()) {
    }
    slowMayEnd_.set_value();
    EXPECT_THAT(waiting.response(), HasSubstr("0123456789"));
    EXPECT_TRUE(hasMadeProgress());
}

TEST_F(Listener, CountsItsConnectionsAndWhatItRefuses)
{
    {
        TlsConnection client = connect();
        client.send("GET /x HTTP/1.1\r\nHost: x\r\n\r\n");
        static_cast<void>(client.response());
        client.send("nonsense\r\n\r\n");
        static_cast<void>(client.response());
        EXPECT_EQ(listener_->counts().accepted, 1U);
        EXPECT_EQ(listener_->counts().refused, 1U);
    }
    const auto& counts = listener_->counts();
    const Descriptor stranger = connectWithoutTls();
    ASSERT_EQ(::shutdown(stranger.get(), SHUT_RDWR), 0);
    while (counts.ended != 2) {
        std::this_thread::yield();
    }
    EXPECT_EQ(counts.accepted, 2U);
    EXPECT_EQ(counts.strangers, 1U);
    EXPECT_EQ(listener_->bodyBytes(), 0U);
}

TEST_F(Listener, HandsOverTheTargetAsItCame)
{
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(requests(), ElementsAre("GET /a%7Cb?c=%20 "));
}

TEST_F(Listener, HandsOverBodiesOfEveryMethodThatHasOne)
{
    for (const char* method : {"POST", "PUT", "PATCH"}) {
        EXPECT_THAT(
            responseTo(std::string(method) + " /x HTTP/1.1\r\nHost: x\r\nContent-Length: 3\r\n\r\nabc"),
            HasSubstr("0123456789"));
    }
    EXPECT_THAT(responseTo("POST /x HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: "
                           "chunked\r\n\r\n2\r\nde\r\n1\r\nf\r\n0\r\n\r\n"),
                HasSubstr("0123456789"));
    EXPECT_THAT(requests(), ElementsAre("POST /x abc", "PUT /x abc", "PATCH /x abc", "POST /x def"));
}

TEST_F(Listener, HandsOverOddBytesOfTheTarget)
{
    const std::string odd = "/a\xFF%zz%00%";
    EXPECT_THAT(responseTo("GET " + odd + " HTTP/1.1\r\nHost: x\r\n\r\n"), StartsWith("HTTP/1.1 200 "));
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
    EXPECT_THAT(responseTo("GET /none HTTP/1.1\r\nHost: x\r\n\r\n"),
                testing::AllOf(StartsWith("HTTP/1.1 204 No Content\r\n"), EndsWith("\r\n\r\n")));
    EXPECT_THAT(
        responseTo("GET /teapot HTTP/1.1\r\nHost: x\r\n\r\n"),
        testing::AllOf(StartsWith("HTTP/1.1 405 "), HasSubstr("\r\nAllow: GET, PUT\r\n"), EndsWith("{}")));
}

TEST_F(Listener, SendsTheWholeDocumentWhateverRangeIsAskedFor)
{
    EXPECT_THAT(responseTo("GET /x HTTP/1.1\r\nHost: x\r\nRange: bytes=0-3\r\n\r\n"),
                testing::AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("0123456789")));
}

TEST_F(Listener, KnowsItsClientsByTheirSubjects)
{
    const std::string who = "GET /client HTTP/1.1\r\nHost: x\r\n\r\n";
    TlsConnection host = connect();
    TlsConnection other = connect(authority_.issueForClient("it's \"ä\", Ltd"));
    for (int request = 0; request < 2; ++request) {
        host.send(who);
        other.send(who);
        EXPECT_THAT(host.response(), EndsWith("\r\n\r\nCN=host"));
        EXPECT_THAT(other.response(), EndsWith("\r\n\r\nCN=it's \\\"ä\\\"\\, Ltd"));
    }
}

TEST_F(Listener, ResumesTlsSessions)
{
    TlsConnection first = connect();
    first.send(GET);
    (void)first.response();
    TlsConnection second(address_.host, address_.port, authority_.file(), client_, 0, first.session());
    second.send(GET);
    EXPECT_THAT(second.response(), StartsWith("HTTP/1.1 200 OK\r\n"));
    second.send("GET /client HTTP/1.1\r\nHost: x\r\n\r\n");
    EXPECT_THAT(second.response(), EndsWith("\r\n\r\nCN=host")) << "as shown by the first one";
    EXPECT_TRUE(second.isResumed());
}

TEST_F(Listener, AnswersBadRequestsWithAnErrorDocumentAndCloses)
{
    for (const keepsafe_test::BadRequest& bad : keepsafe_test::badRequests()) {
        SCOPED_TRACE(bad.name);
        TlsConnection connection = connect();
        connection.send(bad.text + GET);
        const std::string response = connection.response();
        EXPECT_THAT(response, StartsWith("HTTP/1.1 " + std::to_string(bad.status) + ' '));
        EXPECT_THAT(response, HasSubstr("\r\nConnection: close\r\nContent-Type: application/json\r\n"));
        EXPECT_THAT(response,
                    EndsWith(std::string("\r\n\r\n{\"errorCode\":20,\"errorMessage\":") + bad.message + '}'));
        EXPECT_TRUE(connection.isClosed());
    }
    EXPECT_THAT(requests(), IsEmpty());
}

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
    EXPECT_EQ(thrownBy<std::runtime_error>([this] { HttpsListener(address_, files_, answerer()); }).what(),
              "cannot listen on " + address_.text() + ": Address already in use");
}

TEST_F(Listener, NamesAnAddressThatIsNone)
{
    EXPECT_THAT(thrownBy<std::runtime_error>([this] {
                    HttpsListener({"no such host.invalid"}, files_, answerer());
                }).what(),
                StartsWith("cannot listen on no such host.invalid:1556: "));
}

TEST_F(Listener, NamesAFileThatCannotBeUsed)
{
    const std::string none = folder_.path("none");
    for (const ServerTlsFiles& files : {ServerTlsFiles{none, server_.key, authority_.file()},
                                        ServerTlsFiles{server_.certificate, none, authority_.file()},
                                        ServerTlsFiles{server_.certificate, server_.key, none}}) {
        EXPECT_THAT(thrownBy<keepsafe_service::InputError>([&] {
                        HttpsListener(address_, files, answerer());
                    }).what(),
                    StartsWith(none + " cannot be used as "));
    }
}

TEST_F(Listener, RefusesAFifoInTheFilesPlacesWithoutWaiting)
{
    const std::string fifo = folder_.path("fifo");
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    for (const ServerTlsFiles& files : {ServerTlsFiles{fifo, server_.key, authority_.file()},
                                        ServerTlsFiles{server_.certificate, fifo, authority_.file()},
                                        ServerTlsFiles{server_.certificate, server_.key, fifo}}) {
        const std::string refusal = thrownBy<keepsafe_service::InputError>([&] {
                                        HttpsListener(address_, files, answerer());
                                    }).what();
        EXPECT_THAT(refusal, StartsWith(fifo + " cannot be used as "));
        EXPECT_THAT(refusal, EndsWith(": not a regular file"));
    }
}

TEST_F(Listener, RefusesAKeyThatEverybodyMayWrite)
{
    ASSERT_EQ(::chmod(server_.key.c_str(), 0666), 0);
    EXPECT_EQ(
        thrownBy<keepsafe_service::InputError>([&] { HttpsListener(address_, files_, answerer()); }).what(),
        server_.key + " cannot be used as the server's private key: writable by everybody");
}

TEST_F(Listener, RefusesAnAuthorityWithoutACertificateAndAKeyWithAPassPhrase)
{
    const std::string encrypted = folder_.path("encrypted.key");
    keepsafe_test::encryptKey(server_.key, encrypted, "secret");
    for (const ServerTlsFiles& files : {ServerTlsFiles{server_.certificate, server_.key, server_.key},
                                        ServerTlsFiles{server_.certificate, encrypted, authority_.file()},
                                        ServerTlsFiles{server_.key, server_.key, authority_.file()}}) {
        EXPECT_THROW(HttpsListener(address_, files, answerer()), keepsafe_service::InputError);
    }
}

TEST_F(Listener, EndsAtOnceWhateverItsClientsDoAndCanBeStartedAgain)
{
    for (int i = 0; i < 3; ++i) {
        const Descriptor silent = connectWithoutTls();
        TlsConnection idle = connect();
        idle.send(GET);
        (void)idle.response();
        TlsConnection inHeader = connect();
        inHeader.send("GET /x HTTP");
        TlsConnection inBody = connect();
        inBody.send("POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\na");
        EXPECT_LT(secondsOf([this] { EXPECT_TRUE(stop()); }), 1);
        EXPECT_TRUE(idle.isClosed() && inHeader.isClosed() && inBody.isClosed());
        start();
        EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 "));
    }
}

TEST_F(Listener, EndsInTimeWhenAClientDoesNotReadItsResponse)
{
    TlsConnection deaf = connect();
    deaf.send("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");
    waitForRequests(1);
    EXPECT_LT(secondsOf([this] { stop(); }), 2);
}

TEST_F(Listener, EndsInTimeAndSaysSoWhenARequestIsNotAnswered)
{
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    EXPECT_LT(secondsOf([this] {
                  listener_->stop();
                  EXPECT_FALSE(running_.get());
              }),
              2);
    slowMayEnd_.set_value();
    listener_.reset();
}

TEST_F(Listener, AnswersWhatHasComeBeforeItEnds)
{
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    std::future<bool> stopping = std::async(std::launch::async, [this] { return stop(); });
    while (!connect().tryExchange(GET).empty()) { // until it has begun to end
    }
    slowMayEnd_.set_value();
    EXPECT_THAT(slow.response(), HasSubstr("0123456789"));
    EXPECT_TRUE(stopping.get());
}

TEST_F(Listener, CanBeStoppedBeforeItHasBegun)
{
    stop();
    HttpsListener other(address_, files_, answerer());
    std::future<void> stopping = std::async(std::launch::async, [&other] { other.stop(); });
    EXPECT_TRUE(other.run());
    stopping.get();
}

TEST_F(Listener, ServesManyConnectionsAtOnce)
{
    std::vector<TlsConnection> connections;
    for (std::size_t i = 0; i < ServerLimits().connections; ++i) {
        connections.push_back(connect());
    }
    for (TlsConnection& connection : connections) {
        connection.send(GET);
    }
    for (TlsConnection& connection : connections) {
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 "));
    }
}

TEST_F(Listener, ServesEveryoneOfACrowd)
{
    constexpr int clients = 300;
    std::vector<std::future<std::string>> answers;
    answers.reserve(clients);
    for (int i = 0; i < clients; ++i) {
        answers.push_back(std::async(std::launch::async, [this] { return responseTo(GET); }));
    }
    for (std::future<std::string>& answer : answers) {
        EXPECT_THAT(answer.get(), StartsWith("HTTP/1.1 200 "));
    }
}

TEST_F(Listener, AnswersRequestsWhileOthersTakeLong)
{
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 "));
    slowMayEnd_.set_value();
    EXPECT_THAT(slow.response(), StartsWith("HTTP/1.1 200 "));
}

TEST_F(Listener, KeepsRequestsWaitingWhenAllWorkersAreBusy)
{
    ServerLimits limits;
    limits.workers = 1;
    restart(limits);
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    TlsConnection next = connect();
    next.send(GET);
    slowMayEnd_.set_value();
    EXPECT_THAT(next.response(), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(slow.response(), StartsWith("HTTP/1.1 200 "));
}

/// More than there are places for.
const int MANY_STRANGERS = static_cast<int>(ServerLimits().strangers) + 128;

TEST_F(Listener, ServesAClientAtOnceAmongSilentStrangers)
{
    std::vector<Descriptor> strangers;
    for (int i = 0; i < MANY_STRANGERS; ++i) {
        strangers.push_back(connectWithoutTls());
        ASSERT_EQ(::send(strangers.back().get(), "\x16", 1, MSG_NOSIGNAL), 1);
    }
    EXPECT_LT(secondsOf([this] { EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 ")); }), 2);
}

TEST_F(Listener, ServesAClientAtOnceAmongSilentClients)
{
    std::vector<TlsConnection> silent;
    for (int i = 0; i < 160; ++i) {
        silent.push_back(connect());
        silent.back().send(i % 2 == 0 ? "G" : "");
    }
    EXPECT_LT(secondsOf([this] { EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 ")); }), 2);
}

TEST_F(Listener, LetsNoStrangerDriveOutAClient)
{
    TlsConnection client = connect();
    std::vector<Descriptor> strangers;
    for (int i = 0; i < MANY_STRANGERS; ++i) {
        strangers.push_back(connectWithoutTls());
    }
    std::this_thread::sleep_for(2 * ServerLimits().grace);
    client.send(GET);
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
}

/// Every deadline a moment, except the one under test.
class Deadlines : public Listener {
protected:
    static constexpr std::chrono::milliseconds MOMENT{300};
};

TEST_F(Deadlines, OfTheHandshakeAreKeptToWhenBytesTrickleIn)
{
    ServerLimits limits;
    limits.handshake = MOMENT;
    restart(limits);
    const Descriptor stranger = connectWithoutTls();
    const std::string begin("\x16\x03\x01\x02\x00\x01", 6);
    ASSERT_EQ(::send(stranger.get(), begin.data(), begin.size(), MSG_NOSIGNAL), 6);
    const double seconds =
        secondsOf([&] { trickle([&] { return ::send(stranger.get(), "\0", 1, MSG_NOSIGNAL) == 1; }); });
    EXPECT_GT(seconds, 0.2);
    EXPECT_LT(seconds, 2);
}

TEST_F(Deadlines, OfTheHeaderAreKeptToWhenBytesTrickleIn)
{
    ServerLimits limits;
    limits.header = MOMENT;
    restart(limits);
    TlsConnection client = connect();
    client.send("GET /x HTTP/1.1\r\nHost: ");
    const double seconds = secondsOf([&] { trickle([&] { return client.send("x"); }); });
    EXPECT_GT(seconds, 0.2);
    EXPECT_LT(seconds, 2);
    EXPECT_TRUE(client.isClosed());
}

TEST_F(Deadlines, OfTheBodyAreKeptToWhenBytesTrickleIn)
{
    ServerLimits limits;
    limits.body = MOMENT;
    restart(limits);
    TlsConnection client = connect();
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 999\r\n\r\n");
    const double seconds = secondsOf([&] { trickle([&] { return client.send("x"); }); });
    EXPECT_GT(seconds, 0.2);
    EXPECT_LT(seconds, 2);
    EXPECT_TRUE(client.isClosed());
    EXPECT_THAT(requests(), IsEmpty());
}

TEST_F(Deadlines, OfTheResponseEndWhatNobodyReads)
{
    ServerLimits limits;
    limits.response = MOMENT;
    restart(limits);
    TlsConnection client = connect();
    client.send("GET /large HTTP/1.1\r\nHost: x\r\n\r\n");
    waitForRequests(1);
    std::this_thread::sleep_for(4 * MOMENT);
    EXPECT_LT(client.response().size(), LARGE);
}

TEST_F(Deadlines, OfTheTimeBetweenRequestsEndIdleConnections)
{
    ServerLimits limits;
    limits.idle = MOMENT;
    restart(limits);
    TlsConnection client = connect();
    client.send(GET);
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
    EXPECT_LT(secondsOf([&] { EXPECT_TRUE(client.isClosed()); }), 2);
}

TEST_F(Deadlines, DoNotHoldForTheAnswerer)
{
    ServerLimits limits;
    limits.header = limits.body = limits.response = limits.idle = MOMENT;
    restart(limits);
    TlsConnection slow = connect();
    slow.send("GET /slow HTTP/1.1\r\nHost: x\r\n\r\n");
    slowBegan_.get_future().wait();
    std::this_thread::sleep_for(3 * MOMENT);
    slowMayEnd_.set_value();
    EXPECT_THAT(slow.response(), StartsWith("HTTP/1.1 200 "));
}

/// The numbers of the process's open descriptors.
std::set<int> openDescriptors()
{
    std::set<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        const int number = std::stoi(entry.path().filename());
        if (::fcntl(number, F_GETFD) != -1) { // not the one of this directory
            numbers.insert(number);
        }
    }
    return numbers;
}

TEST_F(Listener, KeepsNoDescriptorOfConnectionsThatHaveEnded)
{
    (void)responseTo(GET);
    stop();
    const std::set<int> before = openDescriptors();
    start();
    for (int i = 0; i < 20; ++i) {
        (void)connectWithoutTls();
        (void)connect({}).tryExchange(GET);
        (void)responseTo(GET);
        (void)responseTo("hello\r\n\r\n");
    }
    stop();
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Listener, LeavesNoDescriptorToProgramsThatAreStarted)
{
    stop();
    const std::set<int> before = openDescriptors();
    start();
    TlsConnection client = connect();
    client.send(GET);
    (void)client.response();
    for (const int number : openDescriptors()) {
        EXPECT_TRUE(before.count(number) == 1 || (::fcntl(number, F_GETFD) & FD_CLOEXEC) != 0) << number;
    }
}

TEST_F(Listener, WaitsForDescriptorsWhenThereAreNone)
{
    const keepsafe_test::CapturedLog log(16);
    Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    rlimit usual = {};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none = {static_cast<rlim_t>(client.get()), usual.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    connectSocket(client);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ::setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(log.lines(),
                ElementsAre(keepsafe_test::LogLine{16, "ksrbac-sandbox",
                                                   "cannot accept connections on " + address_.text() +
                                                       " for now: Too many open files"}));
}

TEST_F(Listener, AsksForABodyThatTheClientHoldsBack)
{
    TlsConnection client = connect();
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 3\r\n\r\n");
    EXPECT_EQ(client.response(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.send("abc");
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 1001\r\n\r\n");
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(Listener, GetsItsRefusalThroughToAClientThatSendsOn)
{
    TlsConnection client = connect();
    client.send("POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\n" + std::string(1000000, 'a'));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 413 "));
}

TEST_F(Listener, AnswersRequestsThatComeTogetherInTheirOrder)
{
    TlsConnection client = connect();
    client.send("GET /teapot HTTP/1.1\r\nHost: x\r\n\r\n" + GET + "garbage\r\n\r\n" + GET);
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 405 "));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(client.response(), StartsWith("HTTP/1.1 400 "));
    EXPECT_TRUE(client.isClosed());
    EXPECT_EQ(requests().size(), 2U);
}

TEST_F(Listener, SendsNoBodyToHead)
{
    EXPECT_THAT(responseTo("HEAD /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n"),
                testing::AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("\r\nContent-Length: 23\r\n"),
                               EndsWith("\r\n\r\n")));
}

TEST_F(Listener, ClosesWhenTheClientWantsIt)
{
    for (const std::string request :
         {"GET /x HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n", "GET /x HTTP/1.0\r\n\r\n"}) {
        TlsConnection client = connect();
        client.send(request);
        EXPECT_THAT(client.response(), HasSubstr("\r\nConnection: close\r\n"));
        EXPECT_LT(secondsOf([&] { EXPECT_TRUE(client.isClosed()); }), 1);
    }
}

TEST_F(Listener, GivesTheMemoryOfALargeRequestBack)
{
    const keepsafe_test::PeakMemory peak;
    const std::string head = "POST /garbage HTTP/1.1\r\nHost: x\r\nContent-Length: 8388608\r\n\r\n";
    TlsConnection connection = connect();
    for (int round = 0; round < 3; ++round) {
        connection.send(head);
        connection.send(std::string(8388608, 'x'));
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 "));
    }
    EXPECT_GT(peak.growth(), GARBAGE);
    // The memory is returned after the response has been sent.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (peak.growthNow() > GARBAGE / 2 && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_LT(peak.growthNow(), GARBAGE / 2);
}

TEST_F(Listener, RefusesBodiesThatAreTooLongTogether)
{
    ServerLimits limits;
    limits.bodyBytes = 100;
    restart(limits);
    const auto post = [](int size) {
        return "POST /x HTTP/1.1\r\nHost: x\r\nContent-Length: " + std::to_string(size) + "\r\n\r\n" +
               std::string(static_cast<std::size_t>(size), 'x');
    };
    EXPECT_THAT(responseTo(post(101)), testing::AllOf(StartsWith("HTTP/1.1 503 Service Unavailable\r\n"),
                                                      HasSubstr("\r\nConnection: close\r\n")));
    TlsConnection connection = connect();
    for (int round = 0; round < 3; ++round) {
        connection.send(post(100));
        EXPECT_THAT(connection.response(), StartsWith("HTTP/1.1 200 ")) << "what was answered does not count";
    }
}

} // namespace
