#include "accesscontrol/item_texts.h"

#include "accesscontrol/stored_texts.h"
#include "json/json_text.h"

namespace keepsafe_service {

namespace {

JsonHandle made(json_t* value)
{
    if (value == nullptr) {
        throw std::bad_alloc(); // also for a text that is not UTF-8, which no record holds
    }
    return JsonHandle(value);
}

JsonHandle text(const std::string& value) { return made(json_stringn(value.data(), value.size())); }

std::string compact(const json_t* value) { return jsonText(value, JSON_COMPACT | JSON_ENSURE_ASCII); }

} // namespace

std::string roleText(const RoleRecord& role)
{
    return compact(made(json_pack("{s:i, s:o, s:o}", "id", role.id, "name", text(role.name).release(),
                                  "description", text(role.description).release()))
                       .get());
}

std::string operationText(const std::string& operation, std::int32_t bit)
{
    return compact(made(json_pack("{s:o, s:i}", "operation", text(operation).release(), "bit", bit)).get());
}

std::string objectText(const KeptObject& object, const std::string* registeredWith)
{
    JsonHandle origin = registeredWith == nullptr ? made(json_null()) : text(*registeredWith);
    return compact(
        made(json_pack("{s:o, s:o, s:b, s:s, s:o}", "object", text(object.name).release(), "objectType",
                       text(object.type).release(), "inherit", object.inherit ? 1 : 0, "state",
                       textOf(object.state).c_str(), "registeredWith", origin.release()))
            .get());
}

std::string definitionText(const KeptDefinition& definition, const std::string& object,
                           const std::function<const std::string&(std::int32_t bit)>& operationOf)
{
    JsonHandle operations = made(json_array());
    for (const std::int32_t bit : definition.bits) {
        if (json_array_append_new(operations.get(), text(operationOf(bit)).release()) != 0) {
            throw std::bad_alloc();
        }
    }
    return compact(
        made(json_pack("{s:s, s:o, s:i, s:s, s:o}", "id", std::to_string(definition.id).c_str(), "object",
                       text(object).release(), "roleId", definition.roleId, "propagation",
                       textOf(definition.propagation).c_str(), "operations", operations.release()))
            .get());
}

} // namespace keepsafe_service
