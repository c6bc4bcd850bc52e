#include <keepsafe/rbac/questions/counts.h>

#include <array>
#include <cstdio>
#include <limits>

#include "ThreadCounts.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using detail::ThreadCounts;

constexpr double NANOSECONDS_PER_SECOND = 1e9;

std::string numberText(double number)
{
    if (number == std::numeric_limits<double>::infinity()) {
        return "+Inf";
    }
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.9g", number));
    return text.data();
}

/// Two lines that say what a metric is.
std::string head(const std::string& name, const char* type, const char* help)
{
    return "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

std::string counter(const std::string& name, const char* help, std::uint64_t count)
{
    return head(name, "counter", help) + name + ' ' + std::to_string(count) + '\n';
}

std::string histogram(const std::string& name, const char* help, const CheckCounts& counts)
{
    std::string text = head(name, "histogram", help);
    std::uint64_t soFar = 0;
    for (const DurationBucket& bucket : counts.durations) {
        soFar += bucket.count;
        text += name + "_bucket{le=\"" + numberText(bucket.seconds) + "\"} " + std::to_string(soFar) + '\n';
    }
    return text + name + "_sum " + numberText(counts.measuredSeconds) + '\n' + name + "_count " +
           std::to_string(soFar) + '\n';
}

} // namespace

CheckCounts checkCounts()
{
    CheckCounts counts{};
    counts.checks = ThreadCounts::sum([](const ThreadCounts& of) -> auto& { return of.checks; });
    counts.denials = ThreadCounts::sum([](const ThreadCounts& of) -> auto& { return of.denials; });
    counts.errors = ThreadCounts::sum([](const ThreadCounts& of) -> auto& { return of.errors; });
    counts.waits = ThreadCounts::sum([](const ThreadCounts& of) -> auto& { return of.waits; });
    counts.refreshes = ThreadCounts::sum([](const ThreadCounts& of) -> auto& { return of.refreshes; });
    for (std::size_t i = 0; i <= ThreadCounts::BUCKET_ENDS.size(); ++i) {
        const double end = i == ThreadCounts::BUCKET_ENDS.size()
                               ? std::numeric_limits<double>::infinity()
                               : static_cast<double>(ThreadCounts::BUCKET_ENDS[i]) / NANOSECONDS_PER_SECOND;
        counts.durations.push_back(
            {end, ThreadCounts::sum([i](const ThreadCounts& of) -> auto& { return of.buckets[i]; })});
    }
    counts.measuredSeconds = static_cast<double>(ThreadCounts::sum(
                                 [](const ThreadCounts& of) -> auto& { return of.nanoseconds; })) /
                             NANOSECONDS_PER_SECOND;
    return counts;
}

std::string metricsText(const CheckCounts& counts)
{
    const std::string prefix = "keepsafe_rbac_";
    return counter(prefix + "checks_total", "Checks that asked an access cache.", counts.checks) +
           counter(prefix + "denials_total", "Checks that were answered with no.", counts.denials) +
           counter(prefix + "check_errors_total", "Checks that ended without an answer.", counts.errors) +
           counter(prefix + "writer_waits_total", "Times that a reader had to wait for a writer.",
                   counts.waits) +
           counter(prefix + "cache_refreshes_total", "Times that changed cache files were mapped again.",
                   counts.refreshes) +
           histogram(prefix + "check_duration_seconds", "Duration of checks; one in 256 is measured.",
                     counts);
}

} // namespace Tessara::Keepsafe::Rbac
