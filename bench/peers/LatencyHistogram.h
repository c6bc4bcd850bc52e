#ifndef KEEPSAFE_BENCH_PEERS_LATENCYHISTOGRAM_H
#define KEEPSAFE_BENCH_PEERS_LATENCYHISTOGRAM_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace keepsafe_bench {

/// A histogram of millions of times in little memory. A percentile is accurate to 1.6 %; the longest time is
/// exact. Trivially copyable, so that a process can send it to another.
class LatencyHistogram {
public:
    void add(std::uint64_t nanoseconds) noexcept
    {
        ++counts_[bucketOf(nanoseconds)];
        ++total_;
        longest_ = std::max(longest_, nanoseconds);
    }

    [[nodiscard]] std::uint64_t total() const noexcept { return total_; }
    [[nodiscard]] std::uint64_t longest() const noexcept { return longest_; }
    /// The time that `share` of all do not exceed. 0 if there are none.
    [[nodiscard]] std::uint64_t percentile(double share) const noexcept;

private:
    /// Times below this have one bucket each; above, each power of two is divided into half as many.
    static constexpr unsigned FINE_BITS = 7;
    static constexpr std::size_t FINE = std::size_t{1} << FINE_BITS;
    static constexpr std::size_t BUCKETS = FINE + (64 - FINE_BITS) * FINE / 2;

    static std::size_t bucketOf(std::uint64_t nanoseconds) noexcept
    {
        if (nanoseconds < FINE) {
            return nanoseconds;
        }
        const auto shift = 64 - FINE_BITS - static_cast<unsigned>(__builtin_clzll(nanoseconds));
        return shift * (FINE / 2) + (nanoseconds >> shift);
    }
    /// The longest time of a bucket.
    static std::uint64_t limitOf(std::size_t bucket) noexcept;

    std::array<std::uint64_t, BUCKETS> counts_{};
    std::uint64_t total_ = 0;
    std::uint64_t longest_ = 0;
};

} // namespace keepsafe_bench

#endif
