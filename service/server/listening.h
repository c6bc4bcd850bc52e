#ifndef KEEPSAFE_SERVICE_SERVER_LISTENING_H
#define KEEPSAFE_SERVICE_SERVER_LISTENING_H

#include "Descriptor.h"
#include "server/ListenAddress.h"

namespace keepsafe_service {

/// A socket to which clients can connect from now on, at the first address of the host that this is possible
/// at. Accepting does not block. Throws `std::runtime_error` with the address and the system's reason.
[[nodiscard]] Tessara::Keepsafe::Process::Descriptor listenOn(const ListenAddress& address);

} // namespace keepsafe_service

#endif
