#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_HANDLEPOOL_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_HANDLEPOOL_H

#include <memory>

#include "Handle.h"

namespace Tessara::Keepsafe::Platform::http {

/// The idle handles of the process. Those that nobody has used for a while are closed when the pool is used
/// the next time, so no thread is needed; a bounded number is kept.
class HandlePool {
public:
    /// A handle for the key, for the caller alone; null when none is idle.
    static std::unique_ptr<Handle> lend(const ConnectionKey& key);
    /// Keeps the handle for the next request with its key.
    static void giveBack(std::unique_ptr<Handle> handle) noexcept;
};

} // namespace Tessara::Keepsafe::Platform::http

#endif
