#include "disk_client.h"

#include <typeinfo>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

DiskAccessControlClient* diskClient(AccessControlClient& client)
{
    if (typeid(client) == typeid(DiskAccessControlClient)) {
        return static_cast<DiskAccessControlClient*>(&client);
    }
    if (typeid(client) != typeid(StubAccessControlClient)) {
        diagnostics::fail(Status::INVALID_ARGUMENT, "AccessControlClient",
                          "A client of another class cannot be asked about its cache");
    }
    return nullptr;
}

} // namespace Tessara::Keepsafe::Rbac
