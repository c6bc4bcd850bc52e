#ifndef KEEPSAFE_SERVICE_SERVER_LISTENADDRESS_H
#define KEEPSAFE_SERVICE_SERVER_LISTENADDRESS_H

#include <string>

namespace keepsafe_service {

/// Where a server listens.
struct ListenAddress {
    /// The port at which clients look for the access-control service.
    static constexpr int SERVICE_PORT = 1556;

    std::string host; ///< IP address or host name
    int port = SERVICE_PORT;

    /// ADDRESS:PORT, or [ADDRESS]:PORT for an address with colons. Throws `InputError`.
    static ListenAddress parse(const std::string& text);

    /// In the same form.
    [[nodiscard]] std::string text() const;
};

} // namespace keepsafe_service

#endif
