#ifndef KEEPSAFE_TESTS_SERVICE_MONITOR_METRICSREADER_H
#define KEEPSAFE_TESTS_SERVICE_MONITOR_METRICSREADER_H

#include <map>
#include <string>

namespace keepsafe_test {

/// The samples of a text in the exposition format 0.0.4, by name and labels as they stand there. Anything
/// that a strict reader might refuse throws `std::runtime_error` with the line: a sample without HELP and
/// TYPE, a metric in two places, a series twice, a name, label, escape or number out of form, a counter
/// without "_total", and a histogram whose buckets do not grow, do not end with +Inf or do not agree with its
/// count.
[[nodiscard]] std::map<std::string, double> readMetrics(const std::string& text);

} // namespace keepsafe_test

#endif
