#ifndef KEEPSAFE_RBAC_QUESTIONS_COUNTS_H
#define KEEPSAFE_RBAC_QUESTIONS_COUNTS_H

#include <cstdint>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

namespace Tessara::Keepsafe::Rbac {

/// How many checks took how long.
struct DurationBucket {
    double seconds;      ///< at most; infinite for the last bucket
    std::uint64_t count; ///< not those of the buckets before
};

/// What the process has counted since it began, in all of its threads. A forked child begins at 0.
///
/// Counted is what asks an access cache: `DiskAccessChecker::checkAccess`, and each object of a row or a
/// matrix. Checkers whose answer is always the same (role 0, an unknown operation, enforcement off) count
/// nothing.
struct CheckCounts {
    std::uint64_t checks;    ///< answered or not
    std::uint64_t denials;   ///< answered with no
    std::uint64_t errors;    ///< ended by an exception; a row that does counts as one check
    std::uint64_t waits;     ///< a reader had to wait for a writer, and has the lock now
    std::uint64_t refreshes; ///< a cache's files were mapped again because they had grown or were replaced
    /// How long single checks took, waiting included: of each thread, one in 256 is measured.
    std::vector<DurationBucket> durations;
    double measuredSeconds; ///< of all measured checks together
};

/// The counts at this moment. Each thread counts for itself in memory that no other thread writes, so that
/// counting costs a check 1 or 2 ns; the numbers are added here. While checks are going on, one of the
/// numbers may be ahead of another. Beyond 511 threads at a time some counts are lost. Any thread.
[[nodiscard]] KEEPSAFE_API CheckCounts checkCounts();

/// The counts in the text format that monitoring systems read from `/metrics` (Prometheus exposition, version
/// 0.0.4). The names begin with `keepsafe_rbac_`.
[[nodiscard]] KEEPSAFE_API std::string metricsText(const CheckCounts& counts);

} // namespace Tessara::Keepsafe::Rbac

#endif
