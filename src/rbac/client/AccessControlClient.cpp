#include <keepsafe/rbac/client/AccessControlClient.h>

#include <keepsafe/rbac/client/AccessChecker.h>

namespace Tessara::Keepsafe::Rbac {

AccessControlClient::~AccessControlClient() = default;
AccessChecker::~AccessChecker() = default;

template class ConstantAccessChecker<true>;
template class ConstantAccessChecker<false>;

} // namespace Tessara::Keepsafe::Rbac
