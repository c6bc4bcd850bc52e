#include "accesscontrol/Model.h"

#include <algorithm>
#include <utility>

#include "accesscontrol/stored_texts.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::Operation;

namespace {

template <typename Map, typename Key>
const typename Map::mapped_type* find(const Map& map, const Key& key)
{
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &found->second;
}

} // namespace

Model::Model(Content content) : operations_(std::move(content.operations)), next_(content.next)
{
    for (const auto& [operation, bit] : operations_) {
        // Readers copy names without locking: the text form must be computed.
        static_cast<void>(operation.str());
        operationNames_.emplace(bit, operation);
    }
    objects_.reserve(content.objects.size());
    numbers_.reserve(content.objects.size());
    definitions_.reserve(content.definitions.size());
    for (const RoleRecord& role : content.roles) {
        put(role);
    }
    for (const KeptObject& object : content.objects) {
        put(object);
    }
    for (const KeptDefinition& definition : content.definitions) {
        put(definition);
    }
}

const RoleRecord* Model::role(std::int32_t id) const { return find(roles_, id); }

const RoleRecord* Model::roleOfName(const std::string& name) const
{
    const std::int32_t* const id = find(roleIds_, name);
    return id == nullptr ? nullptr : role(*id);
}

std::vector<std::int32_t> Model::definitionsOfRole(std::int32_t id) const
{
    const auto* const ids = find(roleDefinitions_, id);
    return ids == nullptr ? std::vector<std::int32_t>() : std::vector<std::int32_t>(ids->begin(), ids->end());
}

const Model::Object* Model::object(std::int32_t number) const { return find(objects_, number); }

const Model::Object* Model::object(const std::string& name) const
{
    const std::int32_t* const number = find(numbers_, std::string_view(name));
    return number == nullptr ? nullptr : object(*number);
}

const KeptDefinition* Model::definition(std::int32_t id) const { return find(definitions_, id); }

ObjectRecord Model::record(const Object& object) const
{
    return {storedNamespace(object.kept.name), object.kept.type, object.kept.inherit, object.kept.state};
}

AccessDefinitionRecord Model::record(const KeptDefinition& definition) const
{
    AccessDefinitionRecord record;
    record.id = std::to_string(definition.id);
    record.object = storedNamespace(objects_.at(definition.object).kept.name);
    record.grant.roleId = definition.roleId;
    record.grant.propagation = definition.propagation;
    for (const std::int32_t bit : definition.bits) {
        record.grant.operations.push_back(operationOf(bit));
    }
    return record;
}

CacheObject Model::cacheObject(const Object& object) const
{
    CacheObject result;
    result.ns = storedNamespace(object.kept.name);
    result.inherit = object.kept.inherit;
    result.accessDefinitionCount = static_cast<std::uint32_t>(object.definitions.size());
    for (const std::int32_t id : object.definitions) {
        const KeptDefinition& definition = definitions_.at(id);
        for (const std::int32_t bit : definition.bits) {
            result.grant(definition.roleId, definition.propagation, Operation{bit});
        }
    }
    return result;
}

void Model::apply(const Changes& changes)
{
    for (const std::int32_t id : changes.removedDefinitions) {
        remove(id);
    }
    for (const std::int32_t number : changes.removedObjects) {
        removeObject(number);
    }
    for (const std::int32_t id : changes.removedRoles) {
        removeRole(id);
    }
    for (const RoleRecord& role : changes.roles) {
        put(role);
    }
    for (const KeptObject& object : changes.objects) {
        put(object);
    }
    for (const KeptDefinition& definition : changes.definitions) {
        put(definition);
    }
    next_ = changes.next;
}

void Model::remove(std::int32_t definitionId)
{
    const KeptDefinition& definition = definitions_.at(definitionId);
    objects_.at(definition.object).definitions.erase(definitionId);
    roleDefinitions_.at(definition.roleId).erase(definitionId);
    definitions_.erase(definitionId);
}

void Model::removeObject(std::int32_t number)
{
    const auto found = objects_.find(number);
    const auto parent = objects_.find(found->second.kept.registeredWith);
    if (parent != objects_.end()) {
        parent->second.children.erase(number);
    }
    numbers_.erase(found->second.kept.name);
    objects_.erase(found);
}

void Model::removeRole(std::int32_t id)
{
    roleIds_.erase(roles_.at(id).name);
    roleDefinitions_.erase(id);
    roles_.erase(id);
}

void Model::put(const RoleRecord& role)
{
    const auto [place, isNew] = roles_.try_emplace(role.id);
    if (!isNew) {
        roleIds_.erase(place->second.name);
    }
    place->second = role;
    roleIds_[role.name] = role.id;
}

void Model::put(const KeptObject& object)
{
    Object& known = objects_[object.number];
    if (known.kept.number == 0) {
        // New, or an object put before it was registered with it.
        known.kept.number = object.number;
        known.kept.name = object.name;
        numbers_.emplace(known.kept.name, object.number);
        nextNumber_ = std::max(nextNumber_, nextAfter(object.number));
    } else if (const auto parent = objects_.find(known.kept.registeredWith); parent != objects_.end()) {
        parent->second.children.erase(object.number);
    }
    // The name stays where it is: `numbers_` refers to it.
    known.kept.type = object.type;
    known.kept.inherit = object.inherit;
    known.kept.state = object.state;
    known.kept.registeredWith = object.registeredWith;
    if (object.registeredWith != 0) {
        objects_[object.registeredWith].children.insert(object.number);
    }
}

void Model::put(const KeptDefinition& definition)
{
    objects_.at(definition.object).definitions.insert(definition.id);
    roleDefinitions_[definition.roleId].insert(definition.id);
    definitions_.emplace(definition.id, definition);
}

} // namespace keepsafe_service
