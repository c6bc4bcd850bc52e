#include "accesscontrol/change_entries.h"

#include "accesscontrol/item_texts.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::READY;

namespace {

class ChangeEntries {
public:
    ChangeEntries(const Model& model, const Changes& changes, Occasion occasion, const TakeEntry& take)
        : model_(model), occasion_(occasion), take_(take)
    {
        for (const KeptObject& object : changes.objects) {
            if (model_.object(object.number) == nullptr) {
                newNames_.emplace(object.number, &object.name);
            }
        }
    }

    void removeDefinition(std::int32_t id) const
    {
        const KeptDefinition& definition = *model_.definition(id);
        take_({what::DEFINITION_DELETED, nameOf(definition.object), definition.roleId, textOf(definition),
               "null"});
    }

    void removeObject(std::int32_t number) const
    {
        const KeptObject& object = model_.object(number)->kept;
        take_({what::OBJECT_DELETED, object.name, NO_ROLE, textOf(object), "null"});
    }

    void removeRole(std::int32_t id) const
    {
        take_({what::ROLE_DELETED, "", id, roleText(*model_.role(id)), "null"});
    }

    void put(const RoleRecord& role) const
    {
        const RoleRecord* const known = model_.role(role.id);
        take_({known == nullptr ? what::ROLE_CREATED : what::ROLE_CHANGED, "", role.id,
               known == nullptr ? "null" : roleText(*known), roleText(role)});
    }

    void put(const KeptObject& object) const
    {
        const Model::Object* const known = model_.object(object.number);
        take_({known == nullptr ? what::OBJECT_REGISTERED : whatHappened(known->kept, object), object.name,
               NO_ROLE, known == nullptr ? "null" : textOf(known->kept), textOf(object)});
    }

    void put(const KeptDefinition& definition) const
    {
        take_({what::DEFINITION_ADDED, nameOf(definition.object), definition.roleId, "null",
               textOf(definition)});
    }

private:
    /// An object that was ready, or is going to be, is not registered again: it has lost the one that it was
    /// registered with.
    [[nodiscard]] const char* whatHappened(const KeptObject& before, const KeptObject& after) const
    {
        if (occasion_ == Occasion::Inheritance) {
            return what::INHERITANCE_SET;
        }
        if (before.state != after.state) {
            return after.state == READY ? what::OBJECT_READY : what::OBJECT_PENDING;
        }
        return occasion_ == Occasion::Registration && after.state != READY ? what::OBJECT_REGISTERED
                                                                           : what::OBJECT_CHANGED;
    }

    [[nodiscard]] const std::string& nameOf(std::int32_t number) const
    {
        const Model::Object* const known = model_.object(number);
        return known == nullptr ? *newNames_.at(number) : known->kept.name;
    }

    [[nodiscard]] std::string textOf(const KeptObject& object) const
    {
        return objectText(object, object.registeredWith == 0 ? nullptr : &nameOf(object.registeredWith));
    }

    [[nodiscard]] std::string textOf(const KeptDefinition& definition) const
    {
        return definitionText(
            definition, nameOf(definition.object),
            [this](std::int32_t bit) -> const std::string& { return model_.operationOf(bit).str(); });
    }

    const Model& model_;
    const Occasion occasion_;
    const TakeEntry& take_;
    std::unordered_map<std::int32_t, const std::string*> newNames_; ///< of objects that the model lacks
};

} // namespace

void forEachEntry(const Model& model, const Changes& changes, Occasion occasion, const TakeEntry& take)
{
    const ChangeEntries entries(model, changes, occasion, take);
    for (const std::int32_t id : changes.removedDefinitions) {
        entries.removeDefinition(id);
    }
    for (const std::int32_t number : changes.removedObjects) {
        entries.removeObject(number);
    }
    for (const std::int32_t id : changes.removedRoles) {
        entries.removeRole(id);
    }
    for (const RoleRecord& role : changes.roles) {
        entries.put(role);
    }
    for (const KeptObject& object : changes.objects) {
        entries.put(object);
    }
    for (const KeptDefinition& definition : changes.definitions) {
        entries.put(definition);
    }
}

} // namespace keepsafe_service
