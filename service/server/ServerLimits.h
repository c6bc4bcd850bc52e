#ifndef KEEPSAFE_SERVICE_SERVER_SERVERLIMITS_H
#define KEEPSAFE_SERVICE_SERVER_SERVERLIMITS_H

#include <chrono>
#include <cstddef>

namespace keepsafe_service {

/// How many connections a server has, and how long it waits for their clients. Each time is for a step as a
/// whole: bytes that trickle in do not prolong it.
struct ServerLimits {
    std::size_t connections = 128;                          ///< whose clients have shown a certificate
    std::size_t strangers = 256;                            ///< whose handshake is not over
    std::size_t workers = 8;                                ///< requests that are answered at a time
    std::size_t bodyBytes = std::size_t(256) * 1024 * 1024; ///< of all requests together
    std::chrono::milliseconds handshake{10'000};
    std::chrono::milliseconds header{10'000};
    std::chrono::milliseconds body{60'000};
    std::chrono::milliseconds response{30'000};
    std::chrono::milliseconds idle{60'000};  ///< between requests
    std::chrono::milliseconds goodbye{2000}; ///< for the client to close after the last response
    /// After this a connection that is not idle may have to make room for another one.
    std::chrono::milliseconds grace{250};
    /// From `stop` on for requests that are being answered.
    std::chrono::milliseconds stop{1500};
};

} // namespace keepsafe_service

#endif
