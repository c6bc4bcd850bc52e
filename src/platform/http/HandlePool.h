#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_HANDLEPOOL_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_HANDLEPOOL_H

#include <chrono>
#include <cstddef>
#include <memory>

#include "Handle.h"

namespace Tessara::Keepsafe::Platform::http {

/// The idle handles of the process. Those that have been idle for a while are closed at the next use of the
/// pool, so no thread is needed; a bounded number is kept.
class HandlePool {
public:
    using Clock = std::chrono::steady_clock;

    /// How many handles are kept at most.
    static constexpr std::size_t MAX_IDLE = 64;
    /// Servers close idle connections after a minute or so, and libcurl does not use one again that was idle
    /// for more than 118 seconds.
    static constexpr std::chrono::seconds IDLE_LIMIT{90};

    /// A handle for the key, for the caller's exclusive use; null if none is idle.
    static std::unique_ptr<Handle> lend(const ConnectionKey& key, Clock::time_point now = Clock::now());
    /// Keeps the handle for the next request with its key.
    static void giveBack(std::unique_ptr<Handle> handle, Clock::time_point now = Clock::now()) noexcept;
};

} // namespace Tessara::Keepsafe::Platform::http

#endif
