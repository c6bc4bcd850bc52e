// The listener's deadlines.

#include <chrono>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "service/server/ListenerTest.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::ServerLimits;
using testing::IsEmpty;
using testing::StartsWith;

/// Sends a byte every few moments until the peer closes.
template <typename Send>
void trickle(const Send& send)
{
    while (send()) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
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

} // namespace
} // namespace keepsafe_test
