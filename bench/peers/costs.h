#ifndef KEEPSAFE_BENCH_PEERS_COSTS_H
#define KEEPSAFE_BENCH_PEERS_COSTS_H

#include <cstddef>
#include <functional>
#include <optional>

namespace keepsafe_bench {

/// The number of system calls that a child process makes in `work`, as its tracer sees them; nothing where
/// processes may not be traced. Call it while no other thread runs.
std::optional<long> systemCallsOf(const std::function<void()>& work);

/// How often the calling thread has allocated so far, by `malloc` or anything built on it, in the program
/// itself and in the libraries.
std::size_t allocations() noexcept;

} // namespace keepsafe_bench

#endif
