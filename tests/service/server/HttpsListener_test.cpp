#include "server/HttpsListener.h"

#include <chrono>
#include <future>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include "service/server/ListenerTest.h"
#include "support/thrown.h"

namespace keepsafe_test {
namespace {

using keepsafe_service::HttpsListener;
using keepsafe_service::ServerLimits;
using testing::HasSubstr;
using testing::StartsWith;

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

} // namespace
} // namespace keepsafe_test
