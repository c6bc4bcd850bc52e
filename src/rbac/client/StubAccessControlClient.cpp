#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include <boost/make_shared.hpp>

#include <keepsafe/platform/status/status_codes.h>

namespace Tessara::Keepsafe::Rbac {

int StubAccessControlClient::createAccessChecker(Tessara::Dal::DbConnectionManager* /*dbConnectionManager*/,
                                                 const std::string& /*sessionToken*/,
                                                 const ObjectNamespace& /*operation*/, int /*reserved*/,
                                                 boost::shared_ptr<const AccessChecker>& checker)
{
    checker = boost::make_shared<const ConstantAccessChecker<true>>();
    return Status::SUCCESS;
}

int StubAccessControlClient::createAccessChecker(const std::set<int>& /*roleIds*/,
                                                 const ObjectNamespace& /*operation*/, int /*reserved*/,
                                                 boost::shared_ptr<const AccessChecker>& checker)
{
    checker = boost::make_shared<const ConstantAccessChecker<true>>();
    return Status::SUCCESS;
}

} // namespace Tessara::Keepsafe::Rbac
