/// Processes that fork while they have connections.

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "HttpTest.h"
#include "support/Process.h"

namespace keepsafe_test {
namespace {

/// How many sockets of this process are connected to a port.
int socketsConnectedTo(int port)
{
    constexpr int MAX_DESCRIPTOR = 1024;
    int count = 0;
    for (int descriptor = 0; descriptor < MAX_DESCRIPTOR; ++descriptor) {
        sockaddr_in peer{};
        socklen_t size = sizeof peer;
        if (::getpeername(descriptor, reinterpret_cast<sockaddr*>(&peer), &size) == 0 &&
            peer.sin_family == AF_INET && ntohs(peer.sin_port) == port) {
            ++count;
        }
    }
    return count;
}

class Fork : public HttpTest {
protected:
    HttpsServer server{serverSettings()};
};

TEST_F(Fork, LeavesTheParentItsConnectionAndGivesTheChildOneOfItsOwn)
{
    KSClientCURL client = clientOf(server);
    ASSERT_EQ(client.Get("parent"), CURLE_OK);
    for (unsigned round = 1; round <= 5; ++round) {
        EXPECT_TRUE(holdsInChild(
            [&client, this] { return client.Get("child") == CURLE_OK && statusOfGet(server) == CURLE_OK; }));
        EXPECT_EQ(server.requests().back().connection, round + 1);
        ASSERT_EQ(client.Get("parent"), CURLE_OK);
        EXPECT_EQ(server.requests().back().connection, 1U);
    }
}

TEST_F(Fork, KeepsNoSocketOfTheParentInTheChild)
{
    ASSERT_EQ(statusOfGet(server), CURLE_OK);
    ASSERT_EQ(socketsConnectedTo(server.port()), 1);
    EXPECT_TRUE(holdsInChild([this] { return socketsConnectedTo(server.port()) == 0; }));
}

TEST_F(Fork, OfAForkedProcessWorksTheSame)
{
    ASSERT_EQ(statusOfGet(server), CURLE_OK);
    EXPECT_TRUE(holdsInChild([this] {
        return statusOfGet(server) == CURLE_OK &&
               holdsInChild([this] { return statusOfGet(server) == CURLE_OK; }) &&
               statusOfGet(server) == CURLE_OK;
    }));
    EXPECT_EQ(server.connections(), 3U);
    EXPECT_EQ(statusOfGet(server), CURLE_OK);
    EXPECT_EQ(server.requests().back().connection, 1U);
}

TEST_F(Fork, LeavesDescriptorsAsTheyWereInAChildThatGoesOn)
{
    ASSERT_EQ(statusOfGet(server), CURLE_OK);
    EXPECT_TRUE(holdsInChild([this] {
        // The next descriptor that is free tells whether the ones below are in use.
        const auto nextFree = [] {
            const int descriptor = ::dup(0);
            ::close(descriptor);
            return descriptor;
        };
        const int before = nextFree();
        return statusOfGet(server) == CURLE_OK && nextFree() <= before;
    }));
}

TEST_F(Fork, DoesNotDisturbRequestsOfOtherThreads)
{
    std::atomic<bool> over{false};
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this, &over, &failures] {
            while (!over) {
                failures += clientOf(server).Put("parent", "{}") == CURLE_OK ? 0 : 1;
            }
        });
    }
    const int port = server.port();
    for (int round = 0; round < 30; ++round) {
        EXPECT_TRUE(holdsInChild([port] { return socketsConnectedTo(port) == 0; }));
    }
    over = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures, 0);
    EXPECT_LE(server.connections(), 4U);
}

} // namespace
} // namespace keepsafe_test
