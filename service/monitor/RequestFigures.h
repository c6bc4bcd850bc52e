#ifndef KEEPSAFE_SERVICE_MONITOR_REQUESTFIGURES_H
#define KEEPSAFE_SERVICE_MONITOR_REQUESTFIGURES_H

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace keepsafe_service {

/// Counts the requests of a service, and how long they took. Any thread.
class RequestFigures {
public:
    /// The upper ends of the histogram's buckets, in seconds; one more bucket has no end.
    static constexpr std::array<double, 9> ENDS = {0.001, 0.0025, 0.01, 0.025, 0.1, 0.25, 1, 2.5, 10};
    static constexpr std::size_t CLASSES = 5; ///< of HTTP's status codes: 1xx to 5xx

    struct Figure {
        std::array<std::uint64_t, CLASSES> byClass{};
        std::array<std::uint64_t, ENDS.size() + 1> byDuration{};
        double seconds = 0;
    };
    /// By resource and method.
    using Figures = std::map<std::pair<std::string, std::string>, Figure>;

    /// `resource` and `method` are among few: each pair is kept.
    void count(const std::string& resource, const std::string& method, int status,
               std::chrono::duration<double> duration);

    [[nodiscard]] Figures figures() const;

private:
    mutable std::mutex mutex_;
    Figures figures_;
};

} // namespace keepsafe_service

#endif
