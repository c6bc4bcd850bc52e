#include "commands/make_checker.h"

#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

namespace {

using Checker = boost::shared_ptr<const Rbac::AccessChecker>;

constexpr int RESERVED = 0;

Checker usable(int status, Checker checker)
{
    if (status != Status::SUCCESS) {
        throw EC_exception(status);
    }
    if (!checker) {
        throw EC_exception(Status::OUT_OF_MEMORY);
    }
    return checker;
}

} // namespace

Checker makeChecker(Rbac::AccessControlClient& client, const std::set<int>& roleIds,
                    const Rbac::ObjectNamespace& operation)
{
    Checker checker;
    const int status = client.createAccessChecker(roleIds, operation, RESERVED, checker);
    return usable(status, checker);
}

Checker makeCheckerForToken(Rbac::AccessControlClient& client, const std::string& sessionToken,
                            const Rbac::ObjectNamespace& operation)
{
    Checker checker;
    const int status = client.createAccessChecker(nullptr, sessionToken, operation, RESERVED, checker);
    return usable(status, checker);
}

} // namespace ksrbac
