#ifndef KEEPSAFE_BENCH_REPORT_H
#define KEEPSAFE_BENCH_REPORT_H

#include <memory>
#include <string>

#include <jansson.h>

#include "Turns.h"
#include "peers/LatencyHistogram.h"

namespace keepsafe_bench {

/// What a run has found, printed at once and kept for the file. Times are in nanoseconds.
class Report {
public:
    enum class Bound { AtMost, AtLeast };

    Report();

    /// One line: the median, the range of the middle half of the rounds, and the unit.
    void line(const std::string& name, const Figures& figures, const char* unit = "ns");
    /// The same beside what cannot be avoided, and by how much the median exceeds it.
    void line(const std::string& name, const Figures& figures, const Figures& floor);
    /// A line that is also a point of a diagram: `series` by `x`, in the diagram `panel`.
    void point(const std::string& panel, const std::string& series, double x, const char* unit,
               const Figures& figures);
    /// A single figure.
    void value(const std::string& name, double value, const char* unit);
    /// Prints a line of a table that `latencyHeader` begins.
    void latencies(const std::string& name, const LatencyHistogram& times);
    static void latencyHeader(const char* title);
    /// Prints whether the goal is met. A missed goal is not a failure of the run.
    void goal(const std::string& name, double value, Bound bound, double limit, const char* unit);

    /// Records how the run was asked for.
    void setting(const std::string& name, const std::string& value);
    /// What another process has measured: `send` there, `receive` here. Both throw `std::runtime_error`.
    void send(int descriptor) const;
    void receive(int descriptor);
    /// Throws `std::runtime_error` when the file cannot be written.
    void write(const std::string& path) const;

private:
    void add(const char* list, json_t* item);

    struct Release {
        void operator()(json_t* value) const noexcept { json_decref(value); }
    };
    using Document = std::unique_ptr<json_t, Release>;

    Document document_;
};

} // namespace keepsafe_bench

#endif
