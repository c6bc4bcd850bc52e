/// The documents that the registration service sends, as trees.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <cstddef>
#include <new>

#include "load.h"
#include "wire_text.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

boost::shared_ptr<json_t> treeOf(const std::string& text)
{
    json_error_t ignored;
    JsonHandle tree = loadJson(text, ignored);
    if (!tree) {
        throw std::bad_alloc();
    }
    return tree;
}

/// Puts the caller's attributes themselves into a record that was written without them.
void shareAttributes(json_t* record, const ObjectRegistrationData& data)
{
    if (json_object_set(json_object_get(record, "attributes"), "accessControlAttributes",
                        data.accessControlAttributes.get()) != 0) {
        throw std::bad_alloc();
    }
}

} // namespace

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildRegistrationJSON(const boost::shared_ptr<ObjectRegistrationData>& data)
{
    boost::shared_ptr<json_t> record = treeOf(recordText(data, Attributes::LeftOut));
    shareAttributes(record.get(), *data);
    return record;
}

boost::shared_ptr<json_t> DefaultObjectRegistrationService::buildRegistrationRequest(
    const boost::shared_ptr<ObjectRegistrationData>& data)
{
    boost::shared_ptr<json_t> document = treeOf(registrationText(data, Attributes::LeftOut));
    shareAttributes(json_object_get(document.get(), "data"), *data);
    return document;
}

boost::shared_ptr<json_t> DefaultObjectRegistrationService::buildBulkRegistrationRequest(const DataList& data)
{
    boost::shared_ptr<json_t> document = treeOf(bulkRegistrationText(data, Attributes::LeftOut));
    std::size_t index = 0;
    for (const boost::shared_ptr<ObjectRegistrationData>& object : data) {
        shareAttributes(json_array_get(json_object_get(document.get(), "data"), index++), *object);
    }
    return document;
}

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildNamespaceStatePair(const ObjectNamespace& objectNamespace,
                                                          const std::string& state)
{
    return treeOf(stateText(objectNamespace, state));
}

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildBulkStateUpdateRequest(const std::list<ObjectNamespace>& ready,
                                                              const std::list<ObjectNamespace>& pending,
                                                              const std::list<ObjectNamespace>& deleted)
{
    return treeOf(bulkStateUpdateText(ready, pending, deleted));
}

} // namespace Tessara::Keepsafe::Rbac
