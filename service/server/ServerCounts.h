#ifndef KEEPSAFE_SERVICE_SERVER_SERVERCOUNTS_H
#define KEEPSAFE_SERVICE_SERVER_SERVERCOUNTS_H

#include <atomic>
#include <cstddef>
#include <cstdint>

namespace keepsafe_service {

/// What a server counts from its start on. Any thread reads; a number may be ahead of another one for a
/// moment.
struct ServerCounts {
    std::atomic<std::uint64_t> accepted{0};  ///< connections
    std::atomic<std::uint64_t> ended{0};     ///< connections, however
    std::atomic<std::uint64_t> strangers{0}; ///< connections that have ended before their handshake was over
    std::atomic<std::uint64_t> refused{0};   ///< requests that were not HTTP, or went beyond a limit
    std::atomic<std::uint64_t> shortages{0}; ///< times that the system could give no connection
};

} // namespace keepsafe_service

#endif
