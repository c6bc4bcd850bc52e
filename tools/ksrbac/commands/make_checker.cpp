#include "commands/make_checker.h"

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

boost::shared_ptr<const Rbac::AccessChecker> makeChecker(Rbac::AccessControlClient& client,
                                                         const std::set<int>& roleIds,
                                                         const Rbac::ObjectNamespace& operation)
{
    constexpr int reserved = 0;
    boost::shared_ptr<const Rbac::AccessChecker> checker;
    const int status = client.createAccessChecker(roleIds, operation, reserved, checker);
    if (status != Status::SUCCESS) {
        throw EC_exception(status);
    }
    if (!checker) {
        throw EC_exception(Status::OUT_OF_MEMORY);
    }
    return checker;
}

} // namespace ksrbac
