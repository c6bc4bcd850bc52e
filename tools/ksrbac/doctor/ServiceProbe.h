#ifndef KSRBAC_DOCTOR_SERVICEPROBE_H
#define KSRBAC_DOCTOR_SERVICEPROBE_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/platform/config/config.h>

#include "doctor/Certificate.h"

namespace ksrbac {

/// What the library's HTTP client does not tell of a server: its certificate, its clock, and headers.
struct ServiceProbe {
    bool isAnswered = false;                   ///< with HTTP, whatever the status
    std::vector<Certificate> certificates;     ///< the server's own first; empty if there was no handshake
    std::optional<long long> dateMilliseconds; ///< header Date, since the Unix epoch
    long long askedMilliseconds = 0;           ///< the host's clock in the middle of the exchange
    bool isCacheOutdated = false;              ///< header Keepsafe-Access-Cache
};

/// Asks the master server for a path, as the library's client would: with the host's certificate, and only if
/// the server's certificate is accepted.
ServiceProbe probeService(const Tessara::Keepsafe::Platform::Config& config, const std::string& path,
                          std::chrono::milliseconds timeout);

/// Takes the server's certificate whoever issued it. Sends nothing after the handshake.
ServiceProbe probeCertificate(const Tessara::Keepsafe::Platform::Config& config,
                              std::chrono::milliseconds timeout);

} // namespace ksrbac

#endif
