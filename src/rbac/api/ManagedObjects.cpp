#include <keepsafe/rbac/api/ManagedObjects.h>

#include <cstddef>
#include <cstring>

#include <boost/lexical_cast.hpp>

#include <keepsafe/rbac/api/Rbac2Json.h>

#include "document.h"
#include "requests.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char OBJECT_TAG[] = "ManagedObject::ManagedObject";
constexpr char DEFINITION_TAG[] = "AccessDefinition::AccessDefinition";
constexpr char ROLE_TYPE[] = "accessControlRole";
constexpr char OBJECT_TYPE[] = "managedObject";
constexpr char OPERATION_TYPE[] = "accessControlOperation";
constexpr char DEFINITION_TYPE[] = "accessDefinition";

std::string objectPath(const ObjectNamespace& object)
{
    return "keepsafe/access-control/managed-objects/" +
           encode_uri_part(boost::lexical_cast<std::string>(object));
}

std::string definitionsPath(const ObjectNamespace& object)
{
    return objectPath(object) + "/access-definitions";
}

ManagedObjectState toState(const char* name)
{
    if (std::strcmp(name, READY_STR) == 0) {
        return READY;
    }
    if (std::strcmp(name, PENDING_STR) == 0) {
        return PENDING;
    }
    diagnostics::fail(Status::UNEXPECTED_RESPONSE, OBJECT_TAG,
                      std::string("Unexpected object state: ") + name);
}

/// Borrowed texts of an access definition's resource.
struct DefinitionTexts {
    const char* href = nullptr;
    const char* id = nullptr;
    const char* type = nullptr;
    const char* propagation = nullptr;
    const char* roleId = nullptr;
    const char* roleType = nullptr;
    json_t* operations = nullptr;
    const char* objectId = nullptr;
    const char* objectType = nullptr;
};

DefinitionTexts unpackDefinition(const json_t* resource)
{
    DefinitionTexts texts;
    json_error_t error;
    if (json_unpack_ex(const_cast<json_t*>(resource), &error, 0,
                       "{s?:{s:{s:s}}, s:s, s:s, s:{s:s}, s:{s:{s:{s:s, s:s}}, s:{s:o}, s:{s:{s:s, s:s}}}}",
                       "links", "self", "href", &texts.href, "id", &texts.id, "type", &texts.type,
                       "attributes", "propagation", &texts.propagation, "relationships", "role", "data", "id",
                       &texts.roleId, "type", &texts.roleType, "operations", "data", &texts.operations,
                       "managedObject", "data", "id", &texts.objectId, "type", &texts.objectType) != 0) {
        rejectForm(error, DEFINITION_TAG);
    }
    return texts;
}

ObjectNamespace toOperation(json_t* element, const std::string& index)
{
    const char* id = nullptr;
    const char* type = nullptr;
    json_error_t error;
    if (json_unpack_ex(element, &error, 0, "{s:s, s:s}", "id", &id, "type", &type) != 0) {
        rejectForm(error, DEFINITION_TAG, "Error parsing operation relationship " + index);
    }
    requireType(type, OPERATION_TYPE, DEFINITION_TAG, "Invalid operation " + index + " relationship type");
    return boost::lexical_cast<ObjectNamespace>(id);
}

} // namespace

ManagedObjectResource::ManagedObjectResource(const json_t* resource)
{
    const char* type = nullptr;
    const char* id = nullptr;
    int inherits = 0;
    const char* stateName = nullptr;
    json_error_t error;
    if (json_unpack_ex(const_cast<json_t*>(resource), &error, 0, "{s:s, s:s, s:{s:b, s:s}}", "type", &type,
                       "id", &id, "attributes", "inherit", &inherits, "state", &stateName) != 0) {
        rejectForm(error, OBJECT_TAG);
    }
    requireType(type, OBJECT_TYPE, OBJECT_TAG);
    object = boost::lexical_cast<ObjectNamespace>(id);
    inherit = inherits != 0;
    state = toState(stateName);
}

AccessDefinition::AccessDefinition(const json_t* resource)
{
    const DefinitionTexts texts = unpackDefinition(resource);
    requireType(texts.type, DEFINITION_TYPE, DEFINITION_TAG);
    if (texts.href != nullptr) {
        href = texts.href;
    }
    id = texts.id;
    propagation = boost::lexical_cast<Propagation>(texts.propagation);
    requireType(texts.roleType, ROLE_TYPE, DEFINITION_TAG, "Invalid role relationship type");
    roleId = boost::lexical_cast<int>(texts.roleId);
    for (std::size_t index = 0; index < json_array_size(texts.operations); ++index) {
        operations.push_back(toOperation(json_array_get(texts.operations, index), std::to_string(index)));
    }
    requireType(texts.objectType, OBJECT_TYPE, DEFINITION_TAG, "Invalid object relationship type");
    managedObject = boost::lexical_cast<ObjectNamespace>(texts.objectId);
}

ManagedObjectResource ManagedObjectAPI::get_object(const ObjectNamespace& object) const
{
    constexpr char TAG[] = "ManagedObjectAPI::get_managed_object";
    const boost::shared_ptr<json_t> document = json_loads_shared(get(*this, TAG, objectPath(object)));
    return ManagedObjectResource(requireData(document.get(), TAG));
}

void ManagedObjectAPI::set_inherit(const ObjectNamespace& object, bool inherit) const
{
    const std::string path = objectPath(object);
    const boost::shared_ptr<json_t> document = json_pack_shared(
        "{s:{s:s, s:{s:b}}}", "data", "type", OBJECT_TYPE, "attributes", "inherit", inherit ? 1 : 0);
    const std::string body = json_dumps_shared(document).get();
    change(*this, "ManagedObjectAPI::set_inherit", path,
           [&](KSClientCURL_Base& curl) { return curl.Patch(path, body); });
}

// The operations by value: the signature that callers are built against.
// NOLINTBEGIN(performance-unnecessary-value-param)
AccessDefinition ManagedObjectAPI::add_access_definition(const ObjectNamespace& object, const Role& role,
                                                         Propagation propagation,
                                                         boost::shared_ptr<json_t> operations) const
// NOLINTEND(performance-unnecessary-value-param)
{
    constexpr char TAG[] = "ManagedObjectAPI::add_access_definition";
    const std::string path = definitionsPath(object);
    const boost::shared_ptr<json_t> request = json_pack_shared(
        "{s:{s:s, s:{s:s}, s:{s:{s:{s:s, s:s}}, s:{s:O}}}}", "data", "type", DEFINITION_TYPE, "attributes",
        "propagation", boost::lexical_cast<std::string>(propagation).c_str(), "relationships", "role", "data",
        "id", std::to_string(role.id).c_str(), "type", ROLE_TYPE, "operations", "data", operations.get());
    const std::string body = json_dumps_shared(request).get();
    const JsonHandle document = tryLoad(post(*this, TAG, path, body));
    return AccessDefinition(requireData(document.get(), TAG));
}

std::list<AccessDefinition> ManagedObjectAPI::get_access_definitions(const ObjectNamespace& object) const
{
    constexpr char TAG[] = "ManagedObjectAPI::get_access_definitions";
    const JsonHandle document = tryLoad(get(*this, TAG, definitionsPath(object)));
    const json_t* const data = requireData(document.get(), TAG);
    std::list<AccessDefinition> definitions;
    for (std::size_t index = 0; index < json_array_size(data); ++index) {
        definitions.emplace_back(json_array_get(data, index));
    }
    return definitions;
}

void ManagedObjectAPI::delete_access_definition_by_id(const ObjectNamespace& object,
                                                      const std::string& id) const
{
    requireNoZeroByte(id, "access definition id");
    const std::string path = definitionsPath(object) + '/' + id;
    change(*this, "ManagedObjectAPI::delete_access_definition_by_id", path,
           [&](KSClientCURL_Base& curl) { return curl.Delete(path); });
}

} // namespace Tessara::Keepsafe::Rbac
