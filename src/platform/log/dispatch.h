#ifndef KEEPSAFE_SRC_PLATFORM_LOG_DISPATCH_H
#define KEEPSAFE_SRC_PLATFORM_LOG_DISPATCH_H

#include <atomic>
#include <string_view>

namespace Tessara::Keepsafe::Platform::detail {

/// The threshold of log_sink.h. Relaxed accesses suffice: it orders nothing but itself.
extern std::atomic<int> threshold;

inline bool isWanted(int level) noexcept { return level >= threshold.load(std::memory_order_relaxed); }

/// Hands a message to the current sink, whatever its level. Keeps `errno`.
void dispatch(int level, std::string_view tag, std::string_view text) noexcept;

} // namespace Tessara::Keepsafe::Platform::detail

#endif
