// Monitoring as its clients see it, over plain HTTP, beside a server that it tells of.

#include "monitor/Monitor.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <jansson.h>
#include <sys/stat.h>

#include "service/monitor/MetricsReader.h"
#include "service/monitor/ask_monitor.h"
#include "support/TempDir.h"
#include "support/own_address.h"

namespace keepsafe_test {
namespace {

using namespace keepsafe_service;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

class MonitorTest : public testing::Test {
protected:
    explicit MonitorTest(const std::string& address = ownAddress() + ":9156") : text_(address) { start(); }

    void start()
    {
        monitor_.emplace(
            MonitorAddress::parse(text_),
            ServiceFigures{server_, control_, requests_, health_, std::chrono::system_clock::now(), "1.2"});
    }

    std::string ask(const std::string& path, const std::string& headers = "",
                    const std::string& method = "GET") const
    {
        return askMonitor(text_, path, headers, method);
    }

    TempDir folder_;
    const std::string text_;
    const MonitorAddress other_ = MonitorAddress::parse("unix:" + folder_.path("service"));
    HttpServer server_{{std::nullopt, other_.listen(), other_.text()}, {}, {}};
    ControlFigures control_;
    RequestFigures requests_;
    ServiceHealth health_{control_};
    std::optional<Monitor> monitor_;
};

TEST_F(MonitorTest, TellsWhetherTheServiceIsReady)
{
    EXPECT_THAT(ask("/ready"), StartsWith("HTTP/1.1 503 "));
    EXPECT_EQ(bodyOf(ask("/ready")), "starting\n");
    health_.enter(ServiceHealth::Phase::Serving);
    EXPECT_THAT(ask("/ready"), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(bodyOf(ask("/ready")), "ready\n");
    health_.enter(ServiceHealth::Phase::Ending);
    EXPECT_EQ(bodyOf(ask("/ready")), "ending\n");
}

TEST_F(MonitorTest, TellsWhetherTheServiceIsWellAndWhyNot)
{
    health_.enter(ServiceHealth::Phase::Serving);
    EXPECT_THAT(ask("/health"), StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_EQ(bodyOf(ask("/health")), "ok\n");
    control_.setOutdated("/x is \"locked\"\x1b");
    EXPECT_THAT(ask("/health"), StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
    EXPECT_THAT(bodyOf(ask("/health")), EndsWith(": /x is \"locked\"\\x1B\n"));
}

TEST_F(MonitorTest, AnswersInJsonToThoseWhoAskForIt)
{
    control_.setOutdated("/x is \"locked\"\x1b");
    const std::string response = ask("/health", "Accept: application/json\r\n");
    EXPECT_THAT(response, HasSubstr("Content-Type: application/json\r\n"));
    json_error_t error;
    const std::unique_ptr<json_t, decltype(&json_decref)> document(
        json_loads(bodyOf(response).c_str(), JSON_REJECT_DUPLICATES, &error), json_decref);
    ASSERT_NE(document, nullptr) << error.text;
    EXPECT_STREQ(json_string_value(json_object_get(document.get(), "status")), "failing");
    const json_t* const reasons = json_object_get(document.get(), "reasons");
    ASSERT_EQ(json_array_size(reasons), 2U);
    EXPECT_THAT(json_string_value(json_array_get(reasons, 1)), EndsWith(": /x is \"locked\"\\x1B"));
}

TEST_F(MonitorTest, HasMetricsThatAStrictReaderReads)
{
    const std::string response = ask("/metrics");
    EXPECT_THAT(response, HasSubstr("Content-Type: text/plain; version=0.0.4; charset=utf-8\r\n"));
    EXPECT_GT(readMetrics(bodyOf(response)).size(), 10U);
}

TEST_F(MonitorTest, AnswersHeadWithoutABody)
{
    const std::string response = ask("/metrics", "", "HEAD");
    EXPECT_THAT(response, StartsWith("HTTP/1.1 200 OK\r\n"));
    EXPECT_THAT(response, HasSubstr("Content-Length: "));
    EXPECT_EQ(bodyOf(response), "");
}

TEST_F(MonitorTest, ChangesNothingAndKnowsNothingElse)
{
    EXPECT_THAT(ask("/health", "", "DELETE"),
                testing::AllOf(StartsWith("HTTP/1.1 405 Method Not Allowed\r\n"),
                               HasSubstr("\r\nAllow: GET, HEAD\r\n")));
    EXPECT_THAT(ask("/health", "Content-Length: 1\r\n", "POST"), StartsWith("HTTP/1.1 413 "));
    EXPECT_THAT(ask("/"), StartsWith("HTTP/1.1 404 "));
    EXPECT_THAT(ask("/keepsafe/access-control/roles"), StartsWith("HTTP/1.1 404 "));
}

TEST_F(MonitorTest, ReadsHttpAsStrictlyAsTheService)
{
    for (const std::string request :
         {"GET /health HTTP/1.1\n\n", "GET /health\r\n\r\n", "GET /health HTTP/1.1\r\n\r\n",
          "GET /health HTTP/1.1\r\nHost : x\r\n\r\n"}) {
        EXPECT_THAT(exchange(connectToMonitor(text_), request), StartsWith("HTTP/1.1 400 ")) << request;
    }
}

TEST_F(MonitorTest, AnswersOnAConnectionThatIsKept)
{
    const std::string get = "GET /ready HTTP/1.1\r\nHost: x\r\n";
    const std::string both =
        exchange(connectToMonitor(text_), get + "\r\n" + get + "Connection: close\r\n\r\n");
    EXPECT_NE(both.find("starting\n"), both.rfind("starting\n"));
}

TEST_F(MonitorTest, AnswersAmongClientsThatKeepItBusy)
{
    std::vector<Descriptor> silent;
    for (int i = 0; i < 200; ++i) {
        silent.push_back(connectToMonitor(text_));
        static_cast<void>(::write(silent.back().get(), "GET /", 5));
    }
    const Clock::time_point begin = Clock::now();
    EXPECT_EQ(bodyOf(ask("/ready")), "starting\n");
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(5));
}

TEST_F(MonitorTest, EndsAtOnceThoughClientsAreConnected)
{
    const Descriptor silent = connectToMonitor(text_);
    const Clock::time_point begin = Clock::now();
    monitor_.reset();
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(connectToMonitor(text_).get(), -1);
}

class UnixMonitorTest : public MonitorTest {
protected:
    UnixMonitorTest() : MonitorTest("unix:" + TempDir().path() + "-socket") {}
};

TEST_F(UnixMonitorTest, AnswersAndRemovesItsSocketAtTheEnd)
{
    EXPECT_EQ(bodyOf(ask("/ready")), "starting\n");
    monitor_.reset();
    struct stat status {};
    EXPECT_NE(::stat(text_.substr(5).c_str(), &status), 0);
}

} // namespace
} // namespace keepsafe_test
