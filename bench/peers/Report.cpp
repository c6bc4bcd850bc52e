#include "peers/Report.h"

#include <cstdint>
#include <cstdio>
#include <new>
#include <stdexcept>

#include <jansson.h>

#include "peers/machine.h"
#include "json/JsonHandle.h"

namespace keepsafe_bench {

using keepsafe_sandbox::JsonHandle;

namespace {

constexpr double MICROSECOND = 1000;

/// Takes the reference; null stands for a failed allocation.
JsonHandle owned(json_t* value)
{
    if (value == nullptr) {
        throw std::bad_alloc();
    }
    return JsonHandle(value);
}

/// Takes the reference.
void put(const JsonHandle& object, const std::string& name, json_t* value)
{
    json_object_set_new(object.get(), name.c_str(), owned(value).release());
}

double real(std::uint64_t nanoseconds) { return static_cast<double>(nanoseconds); }

} // namespace

void Report::point(const std::string& panel, const std::string& series, double x, const char* unit,
                   const Figures& figures)
{
    points_.push_back({panel, series, x, unit, figures});
}

void Report::value(const std::string& name, double value, const char* unit)
{
    values_.push_back({name, value, unit});
}

void Report::latencyHeader(const char* title)
{
    std::printf("\n%-40s %12s %9s %9s %9s %9s\n", title, "times", "50 %", "99 %", "99.9 %", "longest");
}

void Report::latencies(const std::string& name, const LatencyHistogram& times)
{
    const auto microseconds = [](std::uint64_t time) { return static_cast<double>(time) / MICROSECOND; };
    std::printf("  %-38s %12llu %9.2f %9.2f %9.2f %9.0f us\n", name.c_str(),
                static_cast<unsigned long long>(times.total()), microseconds(times.percentile(0.5)),
                microseconds(times.percentile(0.99)), microseconds(times.percentile(0.999)),
                microseconds(times.longest()));
    static_cast<void>(std::fflush(stdout));
    latencies_.push_back({name, times});
}

void Report::goal(const std::string& name, double value, Bound bound, double limit, const char* unit)
{
    const bool isMet = bound == Bound::AtMost ? value <= limit : value >= limit;
    std::printf("  %-52s %10.4g %-3s at %s %-6g %s\n", name.c_str(), value, unit,
                bound == Bound::AtMost ? "most " : "least", limit, isMet ? "met" : "MISSED");
    static_cast<void>(std::fflush(stdout));
    goals_.push_back({{name, value, unit}, bound, limit, isMet});
}

void Report::setting(const std::string& name, const std::string& value)
{
    settings_.push_back({name, value});
}

json_t* Report::packed(const Point& point)
{
    return json_pack("{s:s, s:s, s:f, s:s, s:f, s:f, s:f}", "panel", point.panel.c_str(), "series",
                     point.series.c_str(), "x", point.x, "unit", point.unit.c_str(), "median",
                     point.figures.median, "min", point.figures.min, "max", point.figures.max);
}

json_t* Report::packed(const Value& value)
{
    return json_pack("{s:s, s:f, s:s}", "name", value.name.c_str(), "value", value.value, "unit",
                     value.unit.c_str());
}

json_t* Report::packed(const Latency& latency)
{
    const LatencyHistogram& times = latency.times;
    return json_pack("{s:s, s:s, s:I, s:f, s:f, s:f, s:f}", "name", latency.name.c_str(), "unit", "ns",
                     "count", static_cast<json_int_t>(times.total()), "p50", real(times.percentile(0.5)),
                     "p99", real(times.percentile(0.99)), "p99.9", real(times.percentile(0.999)), "max",
                     real(times.longest()));
}

json_t* Report::packed(const Goal& goal)
{
    return json_pack("{s:s, s:f, s:s, s:s, s:f, s:b}", "name", goal.value.name.c_str(), "value",
                     goal.value.value, "unit", goal.value.unit.c_str(), "bound",
                     goal.bound == Bound::AtMost ? "at most" : "at least", "limit", goal.limit, "met",
                     goal.isMet ? 1 : 0);
}

void Report::write(const std::string& path) const
{
    const JsonHandle document = owned(json_object());
    const auto putAll = [&document](const char* name, const auto& items) {
        const JsonHandle array = owned(json_array());
        for (const auto& item : items) {
            json_array_append_new(array.get(), owned(packed(item)).release());
        }
        put(document, name, json_incref(array.get()));
    };
    const JsonHandle machine = owned(json_object());
    for (const auto& [name, value] : describeMachine()) {
        put(machine, name, json_string(value.c_str()));
    }
    const JsonHandle run = owned(json_object());
    for (const Setting& setting : settings_) {
        put(run, setting.name, json_string(setting.value.c_str()));
    }
    put(document, "machine", json_incref(machine.get()));
    put(document, "run", json_incref(run.get()));
    putAll("points", points_);
    putAll("values", values_);
    putAll("latencies", latencies_);
    putAll("goals", goals_);
    if (json_dump_file(document.get(), path.c_str(), JSON_INDENT(1) | JSON_REAL_PRECISION(6)) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace keepsafe_bench
