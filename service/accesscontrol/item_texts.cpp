#include "accesscontrol/item_texts.h"

#include "accesscontrol/stored_texts.h"
#include "json/json_text.h"
#include "json/json_values.h"

namespace keepsafe_service {

namespace {

std::string compact(const json_t* value) { return jsonText(value, JSON_COMPACT | JSON_ENSURE_ASCII); }

} // namespace

std::string roleText(const RoleRecord& role)
{
    return compact(owned(json_pack("{s:i, s:o, s:o}", "id", role.id, "name", jsonString(role.name).release(),
                                   "description", jsonString(role.description).release()))
                       .get());
}

std::string operationText(const std::string& operation, std::int32_t bit)
{
    return compact(
        owned(json_pack("{s:o, s:i}", "operation", jsonString(operation).release(), "bit", bit)).get());
}

std::string objectText(const KeptObject& object, const std::string* registeredWith)
{
    JsonHandle origin = registeredWith == nullptr ? owned(json_null()) : jsonString(*registeredWith);
    return compact(
        owned(json_pack("{s:o, s:o, s:b, s:s, s:o}", "object", jsonString(object.name).release(),
                        "objectType", jsonString(object.type).release(), "inherit", object.inherit ? 1 : 0,
                        "state", textOf(object.state).c_str(), "registeredWith", origin.release()))
            .get());
}

std::string definitionText(const KeptDefinition& definition, const std::string& object,
                           const std::function<const std::string&(std::int32_t bit)>& operationOf)
{
    JsonHandle operations = owned(json_array());
    for (const std::int32_t bit : definition.bits) {
        if (json_array_append_new(operations.get(), jsonString(operationOf(bit)).release()) != 0) {
            throw std::bad_alloc();
        }
    }
    return compact(
        owned(json_pack("{s:s, s:o, s:i, s:s, s:o}", "id", std::to_string(definition.id).c_str(), "object",
                        jsonString(object).release(), "roleId", definition.roleId, "propagation",
                        textOf(definition.propagation).c_str(), "operations", operations.release()))
            .get());
}

} // namespace keepsafe_service
