#include "commands/make_checker.h"

#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/platform/status/status_codes.h>

#include "configuration.h"
#include "log/HeardErrors.h"
#include "token/token_status.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
namespace Status = Tessara::Keepsafe::Status;

namespace {

using Checker = boost::shared_ptr<const Rbac::AccessChecker>;

constexpr int RESERVED = 0;

Checker usable(Checker checker)
{
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
    const HeardErrors errors;
    const int status = client.createAccessChecker(roleIds, operation, RESERVED, checker);
    if (status != Status::SUCCESS) {
        throw Tessara::Keepsafe::ExplainedFailure(status, errors.first());
    }
    return usable(checker);
}

Checker makeCheckerForToken(Rbac::AccessControlClient& client, const std::string& sessionToken,
                            const Rbac::ObjectNamespace& operation)
{
    Checker checker;
    const HeardErrors errors;
    requireTokenStatus(client.createAccessChecker(nullptr, sessionToken, operation, RESERVED, checker),
                       errors);
    return usable(checker);
}

} // namespace ksrbac
