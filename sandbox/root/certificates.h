#ifndef KEEPSAFE_SANDBOX_ROOT_CERTIFICATES_H
#define KEEPSAFE_SANDBOX_ROOT_CERTIFICATES_H

#include <string>
#include <vector>

#include "root/RootLayout.h"
#include "root/ensure_pair.h"

namespace keepsafe_sandbox {

/// Creates what the root's service and its clients need to authenticate each other, if it is missing: a
/// certificate authority, a server's certificate for `service` (an IP address or a host name; besides it for
/// localhost and 127.0.0.1), a client's certificate for the host, and their keys. A key whose certificate is
/// missing gets one. The files are created in this order, keys first.
///
/// Throws `InputError`, which names the file, with everything as it was, when `service` is neither an address
/// nor a host name, or an existing file does not fit: a certificate without its key or of another key or
/// authority, expired, for another use or another server, a private key that others may read. Files that were
/// created before the fault was found remain.
std::vector<EnsuredFile> ensureCertificates(const RootLayout& layout, const std::string& service);

/// Throws `InputError` when the text is neither an IP address nor a host name.
void requireAddressOrHostName(const std::string& service);

} // namespace keepsafe_sandbox

#endif
