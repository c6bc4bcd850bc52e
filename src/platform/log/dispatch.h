#ifndef KEEPSAFE_SRC_PLATFORM_LOG_DISPATCH_H
#define KEEPSAFE_SRC_PLATFORM_LOG_DISPATCH_H

#include <atomic>
#include <cstddef>
#include <string_view>

namespace Tessara::Keepsafe::Platform::detail {

/// The threshold of log_sink.h. Relaxed accesses suffice: it orders nothing but itself.
extern std::atomic<int> threshold;

inline bool isWanted(int level) noexcept { return level >= threshold.load(std::memory_order_relaxed); }

/// The longest text of a message. Of a longer one the sinks get the beginning, and how much is left out.
constexpr std::size_t LONGEST_TEXT = std::size_t(16) * 1024;

/// Hands a message to the current sink, whatever its level. `leftOut`: bytes that the text has behind these.
/// Keeps `errno`.
void dispatch(int level, std::string_view tag, std::string_view text, std::size_t leftOut = 0) noexcept;

} // namespace Tessara::Keepsafe::Platform::detail

#endif
