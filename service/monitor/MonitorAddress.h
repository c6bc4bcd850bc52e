#ifndef KEEPSAFE_SERVICE_MONITOR_MONITORADDRESS_H
#define KEEPSAFE_SERVICE_MONITOR_MONITORADDRESS_H

#include <string>

#include "Descriptor.h"
#include "server/ListenAddress.h"

namespace keepsafe_service {

/// Where monitoring is answered: on this host alone, as it is plain HTTP without certificates.
class MonitorAddress {
public:
    /// ADDRESS:PORT with a loopback address, or unix:PATH with an absolute path. Throws `InputError`.
    static MonitorAddress parse(const std::string& text);

    /// In the same form.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    /// The path of the socket; empty for an address with a port.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

    /// A socket that listens. One in the file system has mode 0660: it is there for its owner and group. One
    /// that an ended process has left there is replaced; anything else in its place is kept. Throws
    /// `std::runtime_error`.
    [[nodiscard]] Tessara::Keepsafe::Process::Descriptor listen() const;

private:
    std::string text_;
    std::string path_;
    ListenAddress address_;
};

} // namespace keepsafe_service

#endif
