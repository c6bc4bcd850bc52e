#include "accesscontrol/AccessControl.h"

#include "accesscontrol/AccessControlState.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

AccessControl::AccessControl(Database& database, FileSystem& fileSystem, const CacheLocation& location,
                             const Publishing& publishing)
    : state_(std::make_unique<State>(database, fileSystem, location, publishing))
{
}

AccessControl::~AccessControl() = default;

bool AccessControl::isPublished() const noexcept { return state_->isPublished(); }

std::vector<RoleRecord> AccessControl::roles() const
{
    return state_->read([](const Model& model) {
        std::vector<RoleRecord> roles;
        for (const auto& [id, role] : model.roles()) {
            roles.push_back(role);
        }
        return roles;
    });
}

RoleRecord AccessControl::role(std::int32_t id) const
{
    return state_->read([&](const Model& model) { return knownRole(model, id); });
}

RoleRecord AccessControl::createRole(const std::string& name, const std::string& description,
                                     const Author& author)
{
    return state_->change(Occasion::Roles, author, [&](const Model& model, Draft& draft) {
        return planNewRole(model, name, description, draft);
    });
}

void AccessControl::updateRole(std::int32_t id, const std::string& name, const std::string& description,
                               const Author& author)
{
    state_->change(Occasion::Roles, author, [&](const Model& model, Draft& draft) {
        planRoleUpdate(model, {id, name, description, false}, draft);
        return true;
    });
}

void AccessControl::deleteRole(std::int32_t id, const Author& author)
{
    state_->change(Occasion::Roles, author, [&](const Model& model, Draft& draft) {
        planRoleRemoval(model, id, draft);
        return true;
    });
}

std::vector<ObjectNamespace> AccessControl::operations() const
{
    return state_->read([](const Model& model) {
        std::vector<ObjectNamespace> operations;
        for (const auto& [operation, bit] : model.operations()) {
            operations.push_back(operation);
        }
        return operations;
    });
}

ObjectRecord AccessControl::object(const ObjectNamespace& ns) const
{
    return state_->read([&](const Model& model) { return model.record(knownObject(model, ns)); });
}

void AccessControl::setInherit(const ObjectNamespace& ns, bool inherit, const Author& author)
{
    state_->change(Occasion::Inheritance, author, [&](const Model& model, Draft& draft) {
        planInherit(model, ns, inherit, draft);
        return true;
    });
}

std::vector<AccessDefinitionRecord> AccessControl::accessDefinitions(const ObjectNamespace& ns) const
{
    return state_->read([&](const Model& model) {
        std::vector<AccessDefinitionRecord> definitions;
        for (const std::int32_t id : knownObject(model, ns).definitions) {
            definitions.push_back(model.record(*model.definition(id)));
        }
        return definitions;
    });
}

AccessDefinitionRecord AccessControl::addAccessDefinition(const ObjectNamespace& ns, const Grant& grant,
                                                          const Author& author)
{
    return state_->change(Occasion::Access, author, [&](const Model& model, Draft& draft) {
        return model.record(planGrant(model, ns, grant, draft));
    });
}

void AccessControl::deleteAccessDefinition(const ObjectNamespace& ns, const std::string& id,
                                           const Author& author)
{
    state_->change(Occasion::Access, author, [&](const Model& model, Draft& draft) {
        planDefinitionRemoval(model, ns, id, draft);
        return true;
    });
}

std::vector<RegisteredObjects> AccessControl::registerObjects(const std::vector<Registration>& registrations,
                                                              const Author& author)
{
    return state_->change(Occasion::Registration, author, [&](const Model& model, Draft& draft) {
        return planRegistration(model, registrations, draft);
    });
}

void AccessControl::updateStates(const std::vector<StateChange>& changes, const Author& author)
{
    state_->change(Occasion::States, author, [&](const Model& model, Draft& draft) {
        planStates(model, changes, draft);
        return true;
    });
}

JournalPage AccessControl::journal(const JournalQuery& query) const { return state_->journal(query); }

} // namespace keepsafe_service
