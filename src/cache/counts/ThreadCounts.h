#ifndef KEEPSAFE_CACHE_COUNTS_THREADCOUNTS_H
#define KEEPSAFE_CACHE_COUNTS_THREADCOUNTS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>

namespace Tessara::Keepsafe::Rbac::detail {

/// What one thread has counted, in cache lines of its own. Only the thread writes them, others read.
struct alignas(64) ThreadCounts {
    using Number = std::atomic<std::uint64_t>;

    /// Upper ends of the buckets of durations in nanoseconds; there is one more for all above.
    static constexpr std::array<std::uint64_t, 11> BUCKET_ENDS{250,   500,    1000,   2500,    5000,    10000,
                                                               25000, 100000, 500000, 1000000, 10000000};

    /// Those of the calling thread.
    [[nodiscard]] static ThreadCounts& ofThisThread() noexcept
    {
        return __builtin_expect(mine != nullptr, 1) ? *mine : take();
    }

    /// The sum over all threads, also over those that have ended, of one number of each.
    template <typename Choose>
    [[nodiscard]] static std::uint64_t sum(const Choose& choose) noexcept
    {
        std::uint64_t total = 0;
        for (std::size_t i = 0; i < used(); ++i) {
            total += choose(at(i)).load(std::memory_order_relaxed);
        }
        return total;
    }

    static void add(Number& number, std::uint64_t more = 1) noexcept
    {
        number.store(number.load(std::memory_order_relaxed) + more, std::memory_order_relaxed);
    }

    void addDuration(std::uint64_t nanoseconds) noexcept;

    Number checks{0};
    Number denials{0};
    Number errors{0};
    Number waits{0};
    Number refreshes{0};
    Number nanoseconds{0}; ///< of the checks in the buckets together
    std::array<Number, BUCKET_ENDS.size() + 1> buckets{};

private:
    [[nodiscard]] static ThreadCounts& take() noexcept;
    [[nodiscard]] static std::size_t used() noexcept;
    [[nodiscard]] static ThreadCounts& at(std::size_t index) noexcept;

    // Read on every check: this model makes that one load instead of a call, at the cost of eight bytes of
    // the memory that the loader reserves for libraries that are loaded later. `__thread`, because access to
    // a `thread_local` of another source goes through a function.
    static __thread ThreadCounts* mine __attribute__((tls_model("initial-exec")));
    friend class ThreadCountsPool;
};

/// Counts one check from its beginning to its end: as an error unless it is answered.
class CountedCheck {
public:
    CountedCheck() noexcept : counts_(ThreadCounts::ofThisThread())
    {
        ThreadCounts::add(counts_.checks);
        // A look at the clock costs more than all of the counting.
        if (__builtin_expect(counts_.checks.load(std::memory_order_relaxed) % CHECKS_PER_SAMPLE == 0, 0)) {
            begun_ = now();
        }
    }
    ~CountedCheck()
    {
        if (!isAnswered_) {
            ThreadCounts::add(counts_.errors);
        }
    }
    CountedCheck(const CountedCheck&) = delete;
    CountedCheck& operator=(const CountedCheck&) = delete;

    void answered(bool isAllowed) noexcept
    {
        isAnswered_ = true;
        if (!isAllowed) {
            ThreadCounts::add(counts_.denials);
        }
        if (__builtin_expect(begun_ != 0, 0)) {
            counts_.addDuration(now() - begun_);
        }
    }

private:
    static constexpr std::uint64_t CHECKS_PER_SAMPLE = 256;

    [[nodiscard]] static std::uint64_t now() noexcept
    {
        timespec time{};
        clock_gettime(CLOCK_MONOTONIC, &time);
        return static_cast<std::uint64_t>(time.tv_sec) * 1000000000U +
               static_cast<std::uint64_t>(time.tv_nsec);
    }

    ThreadCounts& counts_;
    std::uint64_t begun_ = 0; ///< 0: the check's duration is not taken
    bool isAnswered_ = false;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
