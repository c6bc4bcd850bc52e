#include "monitor/service_metrics.h"

#include <cstdint>
#include <limits>

#include "cachewriter/ExclusiveLock.h"
#include "database/DatabaseError.h"
#include "monitor/Exposition.h"

namespace keepsafe_service {

namespace {

constexpr double NANOSECONDS = 1e9;

const std::string PREFIX = "keepsafe_service_";

double secondsOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

void counter(Exposition& out, const char* name, const char* help, double value)
{
    out.addOne(PREFIX + name, "counter", help, value);
}

void gauge(Exposition& out, const char* name, const char* help, double value)
{
    out.addOne(PREFIX + name, "gauge", help, value);
}

double asDouble(std::uint64_t number) { return static_cast<double>(number); }

void addProcess(Exposition& out, const ServiceFigures& figures)
{
    out.addOne("process_start_time_seconds", "gauge", "When the process was started, in seconds since 1970.",
               secondsOf(figures.started));
    out.begin(PREFIX + "build_info", "gauge", "The version of the service.");
    out.add(1, {{"version", figures.version}});
    gauge(out, "ready", "Whether clients are answered.",
          figures.health.phase() == ServiceHealth::Phase::Serving ? 1 : 0);
}

void addRequests(Exposition& out, const RequestFigures::Figures& figures)
{
    out.begin(PREFIX + "requests_total", "counter", "Requests that were answered.");
    for (const auto& [name, figure] : figures) {
        for (std::size_t i = 0; i < figure.byClass.size(); ++i) {
            if (figure.byClass[i] != 0) {
                out.add(asDouble(figure.byClass[i]), {{"resource", name.first},
                                                      {"method", name.second},
                                                      {"code", std::to_string(i + 1) + "xx"}});
            }
        }
    }
    out.begin(PREFIX + "request_duration_seconds", "histogram",
              "Time from a whole request to its answer, without the time that it waits for a thread.");
    for (const auto& [name, figure] : figures) {
        const Exposition::Labels labels = {{"resource", name.first}, {"method", name.second}};
        std::uint64_t count = 0;
        for (std::size_t i = 0; i < figure.byDuration.size(); ++i) {
            count += figure.byDuration[i];
            const double end = i < RequestFigures::ENDS.size() ? RequestFigures::ENDS[i]
                                                               : std::numeric_limits<double>::infinity();
            Exposition::Labels ofBucket = labels;
            ofBucket.emplace_back("le", Exposition::number(end));
            out.add(asDouble(count), ofBucket, "_bucket");
        }
        out.add(figure.seconds, labels, "_sum");
        out.add(asDouble(count), labels, "_count");
    }
}

void addConnections(Exposition& out, const HttpServer& server)
{
    const ServerCounts& counts = server.counts();
    const std::uint64_t ended = counts.ended;
    const std::uint64_t accepted = counts.accepted; // read later: not below those that have ended
    gauge(out, "connections", "Open connections.", asDouble(accepted - ended));
    counter(out, "connections_total", "Connections that were accepted.", asDouble(accepted));
    counter(out, "failed_handshakes_total",
            "Connections that ended before a client had shown its certificate.", asDouble(counts.strangers));
    counter(out, "refused_requests_total", "Requests that were not HTTP or went beyond a limit.",
            asDouble(counts.refused));
    counter(out, "connection_shortages_total", "Times that the system could give no connection.",
            asDouble(counts.shortages));
    gauge(out, "request_body_bytes", "Memory that the bodies of requests take.",
          asDouble(server.bodyBytes()));
}

void addCache(Exposition& out, const ControlFigures& control)
{
    const auto outdated = control.outdated();
    counter(out, "publications_total", "Times that the access cache was published.",
            asDouble(control.publications));
    counter(out, "publication_failures_total", "Attempts to publish the access cache that failed.",
            asDouble(control.failures));
    gauge(out, "cache_outdated", "Whether the access cache is not what the database says.", outdated ? 1 : 0);
    gauge(out, "cache_outdated_since_timestamp_seconds",
          "Since when the access cache is outdated, in seconds since 1970; 0 when it is not.",
          outdated ? secondsOf(outdated->since) : 0);
    counter(out, "lock_waits_total", "Locks of caches that others held when the service needed them.",
            asDouble(lockWaits().count));
    counter(out, "lock_wait_seconds_total", "Time that the service has waited for them.",
            asDouble(lockWaits().nanoseconds) / NANOSECONDS);
}

void addStore(Exposition& out, const ServiceFigures& figures)
{
    gauge(out, "database_up", "Whether the database has answered when it was last asked.",
          figures.health.isDatabaseThere() ? 1 : 0);
    counter(out, "database_errors_total", "Failures of the database.", asDouble(databaseErrors()));
    gauge(out, "journal_revision", "The last revision of the journal when the database was last asked.",
          static_cast<double>(figures.health.revision()));
    gauge(out, "roles", "Roles that are known.", asDouble(figures.control.roles));
    gauge(out, "operations", "Operations that are known.", asDouble(figures.control.operations));
    gauge(out, "objects", "Managed objects that are known.", asDouble(figures.control.objects));
    gauge(out, "access_definitions", "Access definitions that are known.",
          asDouble(figures.control.definitions));
}

} // namespace

std::string serviceMetrics(const ServiceFigures& figures)
{
    Exposition out;
    addProcess(out, figures);
    addRequests(out, figures.requests.figures());
    addConnections(out, figures.server);
    addCache(out, figures.control);
    addStore(out, figures);
    return out.text();
}

} // namespace keepsafe_service
