#include "resources/response_documents.h"

#include <initializer_list>
#include <new>
#include <stdexcept>
#include <utility>

#include <boost/lexical_cast.hpp>

#include <keepsafe/platform/uri/percent_encode.h>

#include "json/json_text.h"
#include "json/json_values.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

constexpr char ROLE_TYPE[] = "accessControlRole";
constexpr char OBJECT_TYPE[] = "managedObject";

struct Member {
    Member(const char* memberName, JsonHandle memberValue) : name(memberName), value(std::move(memberValue))
    {
    }
    Member(const char* memberName, const std::string& memberText) : Member(memberName, jsonString(memberText))
    {
    }

    const char* name;
    mutable JsonHandle value; ///< taken out by the object that it becomes a part of
};

JsonHandle object(std::initializer_list<Member> members)
{
    JsonHandle result = owned(json_object());
    for (const Member& member : members) {
        if (json_object_set_new(result.get(), member.name, member.value.release()) != 0) {
            throw std::bad_alloc();
        }
    }
    return result;
}

template <typename Items, typename ToJson>
JsonHandle array(const Items& items, ToJson toJson)
{
    JsonHandle result = owned(json_array());
    for (const auto& item : items) {
        if (json_array_append_new(result.get(), toJson(item).release()) != 0) {
            throw std::bad_alloc();
        }
    }
    return result;
}

JsonHandle boolean(bool value) { return owned(json_boolean(value)); }

JsonHandle integer(std::int64_t value) { return owned(json_integer(value)); }

std::string dataDocument(JsonHandle data)
{
    return jsonText(object({{"data", std::move(data)}}).get(), JSON_COMPACT);
}

JsonHandle selfLink(const std::string& href) { return object({{"self", object({{"href", href}})}}); }

JsonHandle reference(const std::string& id, const char* type)
{
    return object({{"id", id}, {"type", std::string(type)}});
}

JsonHandle operationReference(const ObjectNamespace& operation)
{
    return reference(operation.str(), "accessControlOperation");
}

JsonHandle objectReference(const ObjectNamespace& ns) { return reference(ns.str(), OBJECT_TYPE); }

std::string objectLink(const ObjectNamespace& ns)
{
    std::string encoded;
    (void)percentEncodeUriPart(ns.str(), encoded); // every text can be encoded
    return "/access-control/managed-objects/" + encoded;
}

JsonHandle roleResource(const RoleRecord& role)
{
    const std::string id = std::to_string(role.id);
    return object({{"type", std::string(ROLE_TYPE)},
                   {"id", id},
                   {"links", selfLink("/access-control/roles/" + id)},
                   {"attributes", object({{"name", role.name},
                                          {"description", role.description},
                                          {"systemDefined", boolean(role.systemDefined)}})}});
}

JsonHandle definitionResource(const AccessDefinitionRecord& definition)
{
    const Grant& grant = definition.grant;
    return object(
        {{"type", std::string("accessDefinition")},
         {"id", definition.id},
         {"links", selfLink(objectLink(definition.object) + "/access-definitions/" + definition.id)},
         {"attributes", object({{"propagation", boost::lexical_cast<std::string>(grant.propagation)}})},
         {"relationships",
          object({{"role", object({{"data", reference(std::to_string(grant.roleId), ROLE_TYPE)}})},
                  {"operations", object({{"data", array(grant.operations, operationReference)}})},
                  {"managedObject", object({{"data", objectReference(definition.object)}})}})}});
}

JsonHandle registrationRecord(const RegisteredObjects& registered)
{
    return object(
        {{"type", std::string("objectRegistrationResponse")},
         {"id", registered.ns.str()},
         {"relationships", object({{"registeredObjects",
                                    object({{"data", array(registered.registered, objectReference)}})}})}});
}

/// A value of the journal, which is JSON.
JsonHandle kept(const std::string& json)
{
    JsonHandle value(json_loadb(json.data(), json.size(), JSON_DECODE_ANY, nullptr));
    if (value == nullptr) {
        throw std::runtime_error("the journal of changes holds what is not JSON: " + json.substr(0, 64));
    }
    return value;
}

JsonHandle changeResource(const RecordedEntry& change)
{
    const JournalEntry& entry = change.entry;
    return object({{"type", std::string("change")},
                   {"id", std::to_string(change.at.revision) + '-' + std::to_string(change.at.place)},
                   {"attributes",
                    object({{"revision", integer(change.at.revision)},
                            {"time", change.time},
                            {"who", change.who},
                            {"what", entry.what},
                            {"object", entry.object.empty() ? owned(json_null()) : jsonString(entry.object)},
                            {"roleId", entry.roleId == NO_ROLE ? owned(json_null()) : integer(entry.roleId)},
                            {"before", kept(entry.before)},
                            {"after", kept(entry.after)}})}});
}

} // namespace

std::string accessCacheDocument(const std::string& cacheId)
{
    return dataDocument(object({{"type", std::string("accessCache")}, {"id", cacheId}}));
}

std::string roleDocument(const RoleRecord& role) { return dataDocument(roleResource(role)); }

std::string rolesDocument(const std::vector<RoleRecord>& roles)
{
    return dataDocument(array(roles, roleResource));
}

std::string objectDocument(const ObjectRecord& record)
{
    namespace Rbac = Tessara::Keepsafe::Rbac;
    const std::string state = record.state == Rbac::PENDING ? Rbac::PENDING_STR : Rbac::READY_STR;
    return dataDocument(object(
        {{"type", std::string(OBJECT_TYPE)},
         {"id", record.ns.str()},
         {"links", selfLink(objectLink(record.ns))},
         {"attributes",
          object({{"objectType", record.type}, {"inherit", boolean(record.inherit)}, {"state", state}})}}));
}

std::string definitionDocument(const AccessDefinitionRecord& definition)
{
    return dataDocument(definitionResource(definition));
}

std::string definitionsDocument(const std::vector<AccessDefinitionRecord>& definitions)
{
    return dataDocument(array(definitions, definitionResource));
}

std::string operationsDocument(const std::vector<ObjectNamespace>& operations)
{
    return dataDocument(array(operations, operationReference));
}

std::string registrationDocument(const RegisteredObjects& registered)
{
    return jsonText(registrationRecord(registered).get(), JSON_COMPACT);
}

std::string registrationsDocument(const std::vector<RegisteredObjects>& registered)
{
    return dataDocument(array(registered, registrationRecord));
}

std::string changesDocument(const JournalPage& page, const std::string& next)
{
    const JsonHandle document = object({{"data", array(page.entries, changeResource)},
                                        {"meta", object({{"lastRevision", integer(page.lastRevision)}})}});
    if (!next.empty() && json_object_set_new(document.get(), "links",
                                             object({{"next", object({{"href", next}})}}).release()) != 0) {
        throw std::bad_alloc();
    }
    return jsonText(document.get(), JSON_COMPACT);
}

std::string stateUpdateDocument()
{
    return dataDocument(object({{"type", std::string("managedObjectUpdate")}}));
}

} // namespace keepsafe_service
