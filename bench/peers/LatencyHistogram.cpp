#include "peers/LatencyHistogram.h"

#include <cmath>

namespace keepsafe_bench {

std::uint64_t LatencyHistogram::percentile(double share) const noexcept
{
    const auto wanted = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(total_)));
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket < BUCKETS; ++bucket) {
        seen += counts_[bucket];
        if (seen >= wanted) {
            return std::min(limitOf(bucket), longest_);
        }
    }
    return longest_;
}

std::uint64_t LatencyHistogram::limitOf(std::size_t bucket) noexcept
{
    if (bucket < FINE) {
        return bucket;
    }
    const std::size_t shift = bucket / (FINE / 2) - 1;
    const std::uint64_t first = bucket - shift * (FINE / 2);
    return ((first + 1) << shift) - 1;
}

} // namespace keepsafe_bench
