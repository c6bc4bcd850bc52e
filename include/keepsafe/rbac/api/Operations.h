#ifndef KEEPSAFE_RBAC_API_OPERATIONS_H
#define KEEPSAFE_RBAC_API_OPERATIONS_H

#include <list>
#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// Lists the operations that the service knows. Any thread; see `BaseAPI` for failures.
class KEEPSAFE_API OperationAPI : public BaseAPI {
public:
    using BaseAPI::BaseAPI;

    /// The operations that match the service's filter expression, all for an empty one, in the service's
    /// order. An id that is not a namespace is `boost::bad_lexical_cast`.
    [[nodiscard]] std::list<ObjectNamespace> get_operations(const std::string& filter) const;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
