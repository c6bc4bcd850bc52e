#ifndef KEEPSAFE_RBAC_QUESTIONS_DISK_CLIENT_H
#define KEEPSAFE_RBAC_QUESTIONS_DISK_CLIENT_H

#include <keepsafe/rbac/client/AccessControlClient.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

/// The client that answers from a cache; null for the stub client. Throws `EC_exception` 20 for every other:
/// a class derived from the disk client may decide in another way.
[[nodiscard]] DiskAccessControlClient* diskClient(AccessControlClient& client);

} // namespace Tessara::Keepsafe::Rbac

#endif
