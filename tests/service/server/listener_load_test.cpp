// Many clients at once, and what the listener needs for them.

#include <chrono>
#include <filesystem>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>

#include "service/server/ListenerTest.h"
#include "support/CapturedLog.h"
#include "support/PeakMemory.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::ServerLimits;
using testing::ElementsAre;
using testing::StartsWith;

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
    const CapturedLog log(16);
    Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    rlimit usual = {};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none = {static_cast<rlim_t>(client.get()), usual.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    connectSocket(client);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    ::setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_THAT(responseTo(GET), StartsWith("HTTP/1.1 200 "));
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{16, "HttpServer",
                                                 "cannot accept connections on " + address_.text() +
                                                     " for now: Too many open files"}));
}

TEST_F(Listener, GivesTheMemoryOfALargeRequestBack)
{
    const PeakMemory peak;
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

} // namespace
} // namespace keepsafe_test
