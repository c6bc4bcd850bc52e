#include "monitor/service_metrics.h"

#include <chrono>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "database/DatabaseError.h"
#include "monitor/Exposition.h"
#include "monitor/MonitorAddress.h"
#include "service/monitor/MetricsReader.h"
#include "support/TempDir.h"

namespace keepsafe_test {
namespace {

using namespace keepsafe_service;
using std::chrono::milliseconds;

class ServiceMetrics : public testing::Test {
protected:
    std::map<std::string, double> metrics() const
    {
        return readMetrics(
            serviceMetrics({server_, control_, requests_, health_,
                            std::chrono::system_clock::time_point(milliseconds(1500)), "1.2"}));
    }

    TempDir folder_;
    const MonitorAddress address_ = MonitorAddress::parse("unix:" + folder_.path("socket"));
    HttpServer server_{{std::nullopt, address_.listen(), address_.text()}, {}, {}};
    ControlFigures control_;
    RequestFigures requests_;
    ServiceHealth health_{control_};
};

TEST_F(ServiceMetrics, AreReadByAStrictReaderBeforeAnythingWasAsked)
{
    auto read = metrics();
    EXPECT_EQ(read.at("process_start_time_seconds"), 1.5);
    EXPECT_EQ(read.at("keepsafe_service_build_info{version=\"1.2\"}"), 1);
    EXPECT_EQ(read.at("keepsafe_service_ready"), 0);
    EXPECT_EQ(read.at("keepsafe_service_connections"), 0);
    EXPECT_EQ(read.at("keepsafe_service_cache_outdated_since_timestamp_seconds"), 0);
}

TEST_F(ServiceMetrics, CountRequestsByResourceMethodAndStatus)
{
    requests_.count("roles", "GET", 200, milliseconds(1));
    requests_.count("roles", "GET", 204, milliseconds(20));
    requests_.count("roles", "GET", 404, milliseconds(20'000));
    requests_.count("roles/*", "DELETE", 503, milliseconds(0));
    auto read = metrics();
    EXPECT_EQ(read.at(R"(keepsafe_service_requests_total{resource="roles",method="GET",code="2xx"})"), 2);
    EXPECT_EQ(read.at(R"(keepsafe_service_requests_total{resource="roles",method="GET",code="4xx"})"), 1);
    EXPECT_EQ(read.at(R"(keepsafe_service_requests_total{resource="roles/*",method="DELETE",code="5xx"})"),
              1);
    const auto bucket = [&read](const std::string& end) {
        return read.at(
            "keepsafe_service_request_duration_seconds_bucket{resource=\"roles\",method=\"GET\",le=\"" + end +
            "\"}");
    };
    EXPECT_EQ(bucket("0.001"), 1) << "its end belongs to a bucket";
    EXPECT_EQ(bucket("0.01"), 1);
    EXPECT_EQ(bucket("0.025"), 2);
    EXPECT_EQ(bucket("10"), 2);
    EXPECT_EQ(bucket("+Inf"), 3);
    EXPECT_DOUBLE_EQ(
        read.at(R"(keepsafe_service_request_duration_seconds_sum{resource="roles",method="GET"})"), 20.021);
}

TEST_F(ServiceMetrics, ShowWhatTheAccessControlAndTheDatabaseCount)
{
    control_.objects = 5;
    control_.publications = 7;
    control_.setOutdated("reason");
    health_.enter(ServiceHealth::Phase::Serving);
    health_.setDatabaseFault("fault");
    health_.setRevision(42);
    const double errors = metrics().at("keepsafe_service_database_errors_total");
    const DatabaseError error("one more");
    auto read = metrics();
    EXPECT_EQ(read.at("keepsafe_service_objects"), 5);
    EXPECT_EQ(read.at("keepsafe_service_publications_total"), 7);
    EXPECT_EQ(read.at("keepsafe_service_cache_outdated"), 1);
    EXPECT_GT(read.at("keepsafe_service_cache_outdated_since_timestamp_seconds"), 1.7e9);
    EXPECT_EQ(read.at("keepsafe_service_ready"), 1);
    EXPECT_EQ(read.at("keepsafe_service_database_up"), 0);
    EXPECT_EQ(read.at("keepsafe_service_journal_revision"), 42);
    EXPECT_EQ(read.at("keepsafe_service_database_errors_total"), errors + 1);
}

TEST(ExpositionText, EscapesLabelsAndWritesNumbersThatAreReadAsTheSame)
{
    Exposition out;
    out.begin("a", "gauge", "Help.");
    out.add(0.1, {{"x", "\"\\\n"}});
    EXPECT_EQ(out.text(), "# HELP a Help.\n# TYPE a gauge\na{x=\"\\\"\\\\\\n\"} 0.1\n");
    EXPECT_EQ(Exposition::number(std::numeric_limits<double>::infinity()), "+Inf");
    EXPECT_EQ(Exposition::number(12345678), "12345678");
    EXPECT_EQ(std::stod(Exposition::number(1.0 / 3)), 1.0 / 3);
}

} // namespace
} // namespace keepsafe_test
