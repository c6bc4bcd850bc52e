#include "accesscontrol/Draft.h"

#include <algorithm>
#include <utility>

#include "accesscontrol/Refusal.h"

namespace keepsafe_service {

namespace {

std::int32_t take(std::int32_t& next, const char* what)
{
    const std::int32_t number = next;
    next = nextAfter(number);
    if (next == number) {
        throw Refusal(Refusal::Conflict, std::string("no ") + what + " is left to give out");
    }
    return number;
}

} // namespace

Draft::Draft(const Model& model) : model_(model), nextNumber_(model.nextNumber())
{
    changes_.next = model.next();
}

std::int32_t Draft::nextRoleId() { return take(changes_.next.role, "role id"); }

void Draft::removeRole(std::int32_t id)
{
    changes_.removedDefinitions = model_.definitionsOfRole(id);
    changes_.removedRoles.push_back(id);
}

std::int32_t Draft::add(KeptObject object)
{
    object.number = take(nextNumber_, "object number");
    return objects_.emplace(object.number, object).first->first;
}

KeptObject& Draft::edit(const Model::Object& object)
{
    return objects_.emplace(object.kept.number, object.kept).first->second;
}

void Draft::remove(const Model::Object& object)
{
    removedObjects_.insert(object.kept.number);
    removeDefinitions(object);
}

KeptDefinition Draft::add(std::int32_t object, const Grant& grant)
{
    KeptDefinition definition;
    definition.id = take(changes_.next.definition, "access definition id");
    definition.object = object;
    definition.roleId = grant.roleId;
    definition.propagation = grant.propagation;
    std::unordered_set<std::int32_t> seen;
    for (const auto& operation : grant.operations) {
        const std::int32_t bit = model_.operations().at(operation);
        if (seen.insert(bit).second) {
            definition.bits.push_back(bit);
        }
    }
    changes_.definitions.push_back(definition);
    return definition;
}

void Draft::removeDefinitions(const Model::Object& object)
{
    changes_.removedDefinitions.insert(changes_.removedDefinitions.end(), object.definitions.begin(),
                                       object.definitions.end());
}

/// Objects that stay when the one that they were registered with is removed become independent.
void Draft::releaseChildren()
{
    for (const std::int32_t number : removedObjects_) {
        for (const std::int32_t childNumber : model_.object(number)->children) {
            KeptObject& child = edit(*model_.object(childNumber));
            if (child.registeredWith == number) {
                child.registeredWith = 0;
            }
        }
    }
}

Changes Draft::finish() &&
{
    releaseChildren();
    for (auto& [number, object] : objects_) {
        if (removedObjects_.count(number) == 0) {
            changes_.objects.push_back(std::move(object));
        }
    }
    changes_.removedObjects.assign(removedObjects_.begin(), removedObjects_.end());
    std::sort(changes_.removedObjects.begin(), changes_.removedObjects.end());
    return std::move(changes_);
}

} // namespace keepsafe_service
