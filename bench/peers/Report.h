#ifndef KEEPSAFE_BENCH_PEERS_REPORT_H
#define KEEPSAFE_BENCH_PEERS_REPORT_H

#include <string>
#include <vector>

#include <jansson.h>

#include "peers/LatencyHistogram.h"
#include "peers/Turns.h"

namespace keepsafe_bench {

/// What a run has found, for the eye at once and for the file at the end.
class Report {
public:
    enum class Bound { AtMost, AtLeast };

    /// A figure that belongs to a line of a diagram: `series` by `x`, in the diagram `panel`.
    void point(const std::string& panel, const std::string& series, double x, const char* unit,
               const Figures& figures);
    /// A single figure.
    void value(const std::string& name, double value, const char* unit);
    /// Times, all in nanoseconds; prints a line of a table that `latencyHeader` begins.
    void latencies(const std::string& name, const LatencyHistogram& times);
    static void latencyHeader(const char* title);
    /// Prints whether the goal is met. A missed goal is no failure of the run.
    void goal(const std::string& name, double value, Bound bound, double limit, const char* unit);

    /// Of how the run was asked for; kept for the file.
    void setting(const std::string& name, const std::string& value);
    /// Throws `std::runtime_error` when the file cannot be written.
    void write(const std::string& path) const;

private:
    struct Point {
        std::string panel;
        std::string series;
        double x;
        std::string unit;
        Figures figures;
    };
    struct Value {
        std::string name;
        double value;
        std::string unit;
    };
    struct Latency {
        std::string name;
        LatencyHistogram times;
    };
    struct Goal {
        Value value;
        Bound bound;
        double limit;
        bool isMet;
    };
    struct Setting {
        std::string name;
        std::string value;
    };

    // As Jansson's `json_pack` gives them: a new reference, or null.
    static json_t* packed(const Point& point);
    static json_t* packed(const Value& value);
    static json_t* packed(const Latency& latency);
    static json_t* packed(const Goal& goal);

    std::vector<Point> points_;
    std::vector<Value> values_;
    std::vector<Latency> latencies_;
    std::vector<Goal> goals_;
    std::vector<Setting> settings_;
};

} // namespace keepsafe_bench

#endif
