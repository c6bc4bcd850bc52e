/// The documents that the registration service sends.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <new>

#include <jansson.h>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "documents.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Service = DefaultObjectRegistrationService;

void append(const boost::shared_ptr<json_t>& array, const boost::shared_ptr<json_t>& element)
{
    if (json_array_append(array.get(), element.get()) != 0) {
        throw std::bad_alloc();
    }
}

void appendStates(const boost::shared_ptr<json_t>& array, const std::list<ObjectNamespace>& objects,
                  const std::string& state)
{
    for (const ObjectNamespace& object : objects) {
        append(array, Service::buildNamespaceStatePair(object, state));
    }
}

} // namespace

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildRegistrationJSON(const boost::shared_ptr<ObjectRegistrationData>& data)
{
    requireComplete(data);
    const boost::shared_ptr<json_t> children = json_namespaces_shared(data->relativeChildNamespaces);
    return json_pack_shared("{s:s, s:s, s:{s:s, s:b, s:O, s:O}}", "id", textOf(data->objectNamespace).c_str(),
                            "type", "objectRegistrationData", "attributes", "objectType",
                            data->objectType.c_str(), "ignoreAlreadyRegistered",
                            static_cast<int>(data->ignoreAlreadyRegistered), "accessControlAttributes",
                            data->accessControlAttributes.get(), "relativeChildNamespaces", children.get());
}

boost::shared_ptr<json_t> DefaultObjectRegistrationService::buildRegistrationRequest(
    const boost::shared_ptr<ObjectRegistrationData>& data)
{
    return json_pack_shared("{s:O}", "data", buildRegistrationJSON(data).get());
}

boost::shared_ptr<json_t> DefaultObjectRegistrationService::buildBulkRegistrationRequest(const DataList& data)
{
    const boost::shared_ptr<json_t> records = json_array_shared();
    for (const boost::shared_ptr<ObjectRegistrationData>& object : data) {
        append(records, buildRegistrationJSON(object));
    }
    return json_pack_shared("{s:O}", "data", records.get());
}

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildNamespaceStatePair(const ObjectNamespace& objectNamespace,
                                                          const std::string& state)
{
    return json_pack_shared("{s:s, s:s}", "objectId", textOf(objectNamespace).c_str(), "state",
                            state.c_str());
}

boost::shared_ptr<json_t>
DefaultObjectRegistrationService::buildBulkStateUpdateRequest(const std::list<ObjectNamespace>& ready,
                                                              const std::list<ObjectNamespace>& pending,
                                                              const std::list<ObjectNamespace>& deleted)
{
    const boost::shared_ptr<json_t> records = json_array_shared();
    appendStates(records, ready, READY_STR);
    appendStates(records, pending, PENDING_STR);
    appendStates(records, deleted, DELETED_STR);
    return json_pack_shared("{s:{s:s, s:{s:O}}}", "data", "type", "managedObjectUpdate", "attributes",
                            "managedObjectsWithAttributes", records.get());
}

} // namespace Tessara::Keepsafe::Rbac
