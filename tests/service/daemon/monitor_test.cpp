// What ksrbacd tells monitoring systems, compared with what was asked of it.

#include <chrono>
#include <csignal>
#include <map>
#include <string>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <keepsafe/rbac/api/Roles.h>

#include "service/daemon/ServiceProgram.h"
#include "service/monitor/MetricsReader.h"
#include "service/monitor/ask_monitor.h"
#include "service/support/StoppedReader.h"
#include "support/PrivatePostgres.h"

namespace keepsafe_test {
namespace {

using Tessara::Keepsafe::Rbac::RoleAPI;
using testing::HasSubstr;
using testing::StartsWith;
using Clock = std::chrono::steady_clock;

class MonitoredService : public ServiceProgram {
protected:
    [[nodiscard]] std::map<std::string, double> metrics() const
    {
        return readMetrics(bodyOf(askMonitor(monitor_, "/metrics")));
    }
    [[nodiscard]] std::string health() const { return askMonitor(monitor_, "/health"); }

    const std::string monitor_ = address_ + ":9156";
    const std::vector<std::string> options_ = {"--monitor", monitor_};
};

TEST_F(MonitoredService, CountsWhatIsAskedOfIt)
{
    const Process process = started(options_);
    EXPECT_EQ(bodyOf(health()), "ok\n");
    EXPECT_EQ(bodyOf(askMonitor(monitor_, "/ready")), "ready\n");
    const double publications = metrics().at("keepsafe_service_publications_total");
    for (int i = 0; i < 3; ++i) {
        static_cast<void>(RoleAPI().create_role("role " + std::to_string(i), ""));
    }
    EXPECT_EQ(RoleAPI().get_roles("").size(), 4U);
    EXPECT_ANY_THROW(static_cast<void>(RoleAPI().get_role(99)));
    auto read = metrics();
    const auto requests = [&read](const std::string& labels) {
        return read["keepsafe_service_requests_total{" + labels + "}"];
    };
    EXPECT_EQ(requests(R"(resource="roles",method="POST",code="2xx")"), 3);
    EXPECT_EQ(requests(R"(resource="roles",method="GET",code="2xx")"), 1);
    EXPECT_EQ(requests(R"(resource="roles/*",method="GET",code="4xx")"), 1);
    EXPECT_EQ(read.at(R"(keepsafe_service_request_duration_seconds_count{resource="roles",method="POST"})"),
              3);
    EXPECT_EQ(read.at("keepsafe_service_roles"), 4);
    EXPECT_EQ(read.at("keepsafe_service_ready"), 1);
    EXPECT_EQ(read.at("keepsafe_service_database_up"), 1);
    EXPECT_EQ(read.at("keepsafe_service_cache_outdated"), 0);
    EXPECT_GE(read.at("keepsafe_service_connections_total"), 1);
    EXPECT_GE(read.at("keepsafe_service_publications_total"), publications);
}

TEST_F(MonitoredService, TellsThatItsCacheIsOutdatedUntilItIsNotAnyMore)
{
    const std::string policy = root_.path("policy.json");
    writeFile(policy, R"({"operations":{"|OPERATIONS|VIEW|":0},"roles":[],)"
                      R"("objects":[{"namespace":"|KEEPSAFE|"}],"accessDefinitions":[]})");
    ASSERT_EQ(root_.sandbox({"import", policy}).exitStatus, 0);
    std::vector<std::string> options = options_;
    options.insert(options.end(), {"--lock-wait", "20"});
    auto reader =
        std::make_unique<StoppedReader>(root_.path("wmc/webserver/temp/access-caches/service/manifest.json"));
    const Process process = started(options);
    EXPECT_THAT(health(), StartsWith("HTTP/1.1 503 "));
    EXPECT_THAT(bodyOf(health()), HasSubstr("manifest.json is locked by others\n"));
    auto read = metrics();
    EXPECT_EQ(read.at("keepsafe_service_cache_outdated"), 1);
    EXPECT_GE(read.at("keepsafe_service_publication_failures_total"), 1);
    EXPECT_GE(read.at("keepsafe_service_lock_waits_total"), 1);
    reader.reset();
    const Clock::time_point end = Clock::now() + std::chrono::seconds(60);
    while (bodyOf(health()) != "ok\n" && Clock::now() < end) {
        std::this_thread::yield();
    }
    EXPECT_EQ(metrics().at("keepsafe_service_cache_outdated"), 0);
}

TEST_F(MonitoredService, TellsThatItsDatabaseIsGoneUntilItIsBack)
{
    PrivatePostgres postgres;
    std::string text = readFile(configuration_);
    text.erase(text.find("[database]"));
    writeFile(configuration_, text + "[database]\nconnection = \"" + postgres.connectionString() + "\"\n");
    const Process process = started(options_);
    const auto await = [this](const std::string& status) {
        const Clock::time_point end = Clock::now() + std::chrono::seconds(60);
        while (health().rfind("HTTP/1.1 " + status, 0) != 0 && Clock::now() < end) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return health();
    };
    EXPECT_EQ(bodyOf(await("200 ")), "ok\n");
    for (const bool isKilled : {false, true}) {
        isKilled ? postgres.kill() : postgres.stop();
        EXPECT_THAT(bodyOf(await("503 ")), HasSubstr("cannot ask the database whether it is there"));
        EXPECT_EQ(metrics().at("keepsafe_service_database_up"), 0);
        EXPECT_ANY_THROW(static_cast<void>(RoleAPI().create_role("not stored", "")));
        postgres.start();
        EXPECT_EQ(bodyOf(await("200 ")), "ok\n");
        EXPECT_EQ(metrics().at("keepsafe_service_database_up"), 1);
        const std::string name = isKilled ? "after a crash" : "after a pause";
        EXPECT_EQ(RoleAPI().get_role(RoleAPI().create_role(name, "").id).name, name);
    }
}

TEST_F(MonitoredService, EndsWithTheService)
{
    Process process = started(options_);
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait().exitStatus, 0);
    EXPECT_EQ(connectToMonitor(monitor_).get(), -1);
}

TEST_F(MonitoredService, WorksUnderTheFilterOfSystemCallsOfItsUnit)
{
    NotifySocket socket(root_.path("notify"));
    std::vector<std::string> arguments = {UNDER_UNIT_FILTER, SERVICE_UNIT};
    for (const std::string& argument : command()) {
        arguments.push_back(argument);
    }
    arguments.insert(arguments.end(), {"--monitor", "unix:" + root_.path("monitor")});
    ::setenv("NOTIFY_SOCKET", socket.name().c_str(), 1);
    Process process = Process::start(arguments, root_.path("output"), root_.path("errors"));
    ::unsetenv("NOTIFY_SOCKET");
    ASSERT_EQ(socket.receivedBeside("STATUS="), "READY=1") << readFile(root_.path("errors"));
    RoleAPI().delete_role_by_id(RoleAPI().create_role("a role", "").id);
    EXPECT_EQ(bodyOf(askMonitor("unix:" + root_.path("monitor"), "/health")), "ok\n");
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait().exitStatus, 0) << readFile(root_.path("errors"));
}

TEST_F(MonitoredService, RefusesAnAddressThatOthersReach)
{
    std::vector<std::string> arguments = command();
    arguments.insert(arguments.end(), {"--monitor", "0.0.0.0:9156"});
    const ProgramResult result = runProgram(arguments);
    EXPECT_EQ(result.exitStatus, 2);
    EXPECT_THAT(result.errors,
                StartsWith("ksrbacd: --monitor \"0.0.0.0:9156\": monitoring is answered on this host alone"));
}

TEST_F(MonitoredService, TellsItsManagerWhatItDoesAndThatItIsWell)
{
    NotifySocket socket(root_.path("notify"));
    ::setenv("NOTIFY_SOCKET", socket.name().c_str(), 1);
    ::setenv("WATCHDOG_USEC", "200000", 1);
    Process process = start();
    ::unsetenv("NOTIFY_SOCKET");
    ::unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(socket.received(), "STATUS=reading the database");
    EXPECT_EQ(socket.receivedBeside("STATUS="), "READY=1");
    EXPECT_EQ(socket.received(), "STATUS=listening on https://" + address_ + ":1556");
    EXPECT_EQ(socket.received(), "WATCHDOG=1");
    EXPECT_EQ(socket.received(), "WATCHDOG=1");
    process.signal(SIGTERM);
    EXPECT_EQ(socket.receivedBeside("WATCHDOG=1"), "STOPPING=1");
    EXPECT_EQ(process.wait().exitStatus, 0);
}

} // namespace
} // namespace keepsafe_test
