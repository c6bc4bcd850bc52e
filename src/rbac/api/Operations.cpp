#include <keepsafe/rbac/api/Operations.h>

#include <cstddef>

#include <boost/lexical_cast.hpp>

#include "document.h"
#include "requests.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

/// The name of another operation; log analysis looks for it.
constexpr char OPERATIONS_TAG[] = "OperationAPI::get_options";

ObjectNamespace toOperation(json_t* element)
{
    const char* type = nullptr;
    const char* id = nullptr;
    json_error_t error;
    if (json_unpack_ex(element, &error, 0, "{s:s, s:s}", "type", &type, "id", &id) != 0) {
        rejectForm(error, OPERATIONS_TAG, "Error parsing JSON");
    }
    requireType(type, "accessControlOperation", OPERATIONS_TAG);
    return boost::lexical_cast<ObjectNamespace>(id);
}

} // namespace

std::list<ObjectNamespace> OperationAPI::get_operations(const std::string& filter) const
{
    const std::string path = withFilter("keepsafe/access-control/operations", filter);
    const JsonHandle document = tryLoad(get(*this, OPERATIONS_TAG, path));
    const json_t* const data = requireData(document.get(), OPERATIONS_TAG);
    std::list<ObjectNamespace> operations;
    for (std::size_t index = 0; index < json_array_size(data); ++index) {
        operations.push_back(toOperation(json_array_get(data, index)));
    }
    return operations;
}

} // namespace Tessara::Keepsafe::Rbac
