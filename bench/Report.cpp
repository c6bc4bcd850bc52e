#include "Report.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <new>
#include <stdexcept>

#include "machine.h"

namespace keepsafe_bench {

namespace {

constexpr std::array LISTS{"results", "values", "latencies", "goals"};

/// Takes the reference; null means that memory ran out.
json_t* made(json_t* value)
{
    if (value == nullptr) {
        throw std::bad_alloc();
    }
    return value;
}

json_t* packed(const std::string& name, const Figures& figures, const char* unit)
{
    return made(json_pack("{s:s, s:s, s:f, s:f, s:f, s:f, s:f}", "name", name.c_str(), "unit", unit, "median",
                          figures.median, "low", figures.low, "high", figures.high, "min", figures.min, "max",
                          figures.max));
}

/// Times in the unit that fits their size.
struct Scale {
    Scale(double value, const std::string& given) : unit(given)
    {
        if (given == "ns" && value >= 1e7) {
            unit = "ms";
            divisor = 1e6;
        } else if (given == "ns" && value >= 1e4) {
            unit = "us";
            divisor = 1e3;
        }
    }

    std::string unit;
    double divisor = 1;
};

void print(const std::string& name, const Figures& figures, const char* unit, const std::string& rest)
{
    const Scale scale(figures.median, unit);
    std::printf("%-56s %10.1f %10.1f to %-10.1f %-9s%s\n", name.c_str(), figures.median / scale.divisor,
                figures.low / scale.divisor, figures.high / scale.divisor, scale.unit.c_str(), rest.c_str());
    static_cast<void>(std::fflush(stdout));
}

} // namespace

Report::Report() : document_(made(json_object()))
{
    for (const char* list : LISTS) {
        json_object_set_new(document_.get(), list, made(json_array()));
    }
    json_object_set_new(document_.get(), "run", made(json_object()));
}

void Report::add(const char* list, json_t* item)
{
    json_array_append_new(json_object_get(document_.get(), list), item);
}

void Report::line(const std::string& name, const Figures& figures, const char* unit)
{
    print(name, figures, unit, "");
    add("results", packed(name, figures, unit));
}

void Report::line(const std::string& name, const Figures& figures, const Figures& floor)
{
    const Scale scale(figures.median, "ns");
    std::array<char, 80> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "floor %.1f, %.2f x",
                                    floor.median / scale.divisor, figures.median / floor.median));
    print(name, figures, "ns", text.data());
    json_t* const item = packed(name, figures, "ns");
    json_object_set_new(item, "floor", json_real(floor.median));
    add("results", item);
}

void Report::point(const std::string& panel, const std::string& series, double x, const char* unit,
                   const Figures& figures)
{
    const std::string name = panel + '/' + series + '/' + std::to_string(static_cast<std::uint64_t>(x));
    print(name, figures, unit, "");
    json_t* const item = packed(name, figures, unit);
    json_object_set_new(item, "panel", json_string(panel.c_str()));
    json_object_set_new(item, "series", json_string(series.c_str()));
    json_object_set_new(item, "x", json_real(x));
    add("results", item);
}

void Report::value(const std::string& name, double value, const char* unit)
{
    std::printf("%-56s %10.4g %s\n", name.c_str(), value, unit);
    add("values", made(json_pack("{s:s, s:f, s:s}", "name", name.c_str(), "value", value, "unit", unit)));
}

void Report::latencyHeader(const char* title)
{
    std::printf("\n%-40s %12s %9s %9s %9s %9s\n", title, "times", "50 %", "99 %", "99.9 %", "longest");
}

void Report::latencies(const std::string& name, const LatencyHistogram& times)
{
    const auto real = [](std::uint64_t nanoseconds) { return static_cast<double>(nanoseconds); };
    constexpr double MICROSECOND = 1000;
    std::printf("  %-38s %12llu %9.2f %9.2f %9.2f %9.0f us\n", name.c_str(),
                static_cast<unsigned long long>(times.total()), real(times.percentile(0.5)) / MICROSECOND,
                real(times.percentile(0.99)) / MICROSECOND, real(times.percentile(0.999)) / MICROSECOND,
                real(times.longest()) / MICROSECOND);
    static_cast<void>(std::fflush(stdout));
    add("latencies", made(json_pack("{s:s, s:s, s:I, s:f, s:f, s:f, s:f}", "name", name.c_str(), "unit", "ns",
                                    "count", static_cast<json_int_t>(times.total()), "p50",
                                    real(times.percentile(0.5)), "p99", real(times.percentile(0.99)), "p99.9",
                                    real(times.percentile(0.999)), "max", real(times.longest()))));
}

void Report::goal(const std::string& name, double value, Bound bound, double limit, const char* unit)
{
    const bool isMet = bound == Bound::AtMost ? value <= limit : value >= limit;
    const char* const word = bound == Bound::AtMost ? "at most" : "at least";
    std::printf("  %-54s %10.4g %-3s %s %-6g %s\n", name.c_str(), value, unit, word, limit,
                isMet ? "met" : "MISSED");
    static_cast<void>(std::fflush(stdout));
    add("goals", made(json_pack("{s:s, s:f, s:s, s:s, s:f, s:b}", "name", name.c_str(), "value", value,
                                "unit", unit, "bound", word, "limit", limit, "met", isMet ? 1 : 0)));
}

void Report::setting(const std::string& name, const std::string& value)
{
    json_object_set_new(json_object_get(document_.get(), "run"), name.c_str(),
                        made(json_string(value.c_str())));
}

void Report::send(int descriptor) const
{
    if (json_dumpfd(document_.get(), descriptor, JSON_COMPACT) != 0) {
        throw std::runtime_error("the figures cannot be passed on");
    }
}

void Report::receive(int descriptor)
{
    const Document other(json_loadfd(descriptor, JSON_DISABLE_EOF_CHECK, nullptr));
    if (other.get() == nullptr) {
        throw std::runtime_error("the figures of a workload did not arrive");
    }
    for (const char* list : LISTS) {
        json_array_extend(json_object_get(document_.get(), list), json_object_get(other.get(), list));
    }
}

void Report::write(const std::string& path) const
{
    json_t* const machine = made(json_object());
    for (const auto& [name, value] : describeMachine()) {
        json_object_set_new(machine, name.c_str(), made(json_string(value.c_str())));
    }
    json_object_set_new(document_.get(), "machine", machine);
    if (json_dump_file(document_.get(), path.c_str(), JSON_INDENT(1) | JSON_REAL_PRECISION(6)) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

} // namespace keepsafe_bench
