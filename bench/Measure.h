#ifndef KEEPSAFE_BENCH_MEASURE_H
#define KEEPSAFE_BENCH_MEASURE_H

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace keepsafe_bench {

/// Nanoseconds for one call of `work`.
template <typename Work>
double nanosecondsOf(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::nano>(std::chrono::steady_clock::now() - start).count();
}

inline double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Measurements that take turns, round by round, so that whatever slows the machine for a while slows all of
/// them. Each is given as work that does `count` operations; the result is the median over the rounds.
class TakingTurns {
public:
    explicit TakingTurns(int rounds) : rounds_(rounds) {}

    /// Returns the measurement's number.
    std::size_t add(std::size_t count, std::function<void()> work)
    {
        entries_.push_back({count, std::move(work), {}});
        return entries_.size() - 1;
    }

    void run()
    {
        for (Entry& entry : entries_) {
            entry.work(); // warm up
        }
        for (int round = 0; round < rounds_; ++round) {
            for (Entry& entry : entries_) {
                entry.nanoseconds.push_back(nanosecondsOf(entry.work) / static_cast<double>(entry.count));
            }
        }
    }

    /// Median of nanoseconds for one operation.
    [[nodiscard]] double result(std::size_t number) const { return median(entries_[number].nanoseconds); }

private:
    struct Entry {
        std::size_t count;
        std::function<void()> work;
        std::vector<double> nanoseconds;
    };

    int rounds_;
    std::vector<Entry> entries_;
};

} // namespace keepsafe_bench

#endif
