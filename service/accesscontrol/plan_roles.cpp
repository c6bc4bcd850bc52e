#include "accesscontrol/plans.h"
#include "accesscontrol/validation.h"
#include "json/Element.h"

namespace keepsafe_service {

namespace {

const RoleRecord& changeableRole(const Model& model, std::int32_t id, const char* change)
{
    const RoleRecord& role = knownRole(model, id);
    if (role.systemDefined) {
        throw Refusal(Refusal::Conflict,
                      "role " + std::to_string(id) + " belongs to the product and cannot be " + change);
    }
    return role;
}

void requireFreeName(const Model& model, const RoleRecord& role)
{
    const RoleRecord* const holder = model.roleOfName(role.name);
    if (holder != nullptr && holder->id != role.id) {
        throw Refusal(Refusal::Conflict,
                      "the name " + quoted(role.name) + " is that of role " + std::to_string(holder->id));
    }
}

void requireValidTexts(const RoleRecord& role, std::size_t mostNameBytes)
{
    Faults faults;
    checkRoleName(role.name, mostNameBytes, faults);
    checkRoleDescription(role.description, faults);
    refuseIfAny(Refusal::Invalid, "the role's texts cannot be kept", faults);
}

} // namespace

const RoleRecord& knownRole(const Model& model, std::int32_t id)
{
    const RoleRecord* const role = model.role(id);
    if (role == nullptr) {
        throw Refusal(Refusal::Unknown, "there is no role " + std::to_string(id));
    }
    return *role;
}

RoleRecord planNewRole(const Model& model, const std::string& name, const std::string& description,
                       Draft& draft)
{
    RoleRecord role = {0, name, description, false};
    requireValidTexts(role, MOST_NEW_ROLE_NAME_BYTES);
    role.id = draft.nextRoleId();
    requireFreeName(model, role);
    draft.put(role);
    return role;
}

void planRoleUpdate(const Model& model, const RoleRecord& role, Draft& draft)
{
    const RoleRecord& known = changeableRole(model, role.id, "changed");
    requireValidTexts(role, MOST_ROLE_NAME_BYTES);
    requireFreeName(model, role);
    if (known.name != role.name || known.description != role.description) {
        draft.put(role);
    }
}

void planRoleRemoval(const Model& model, std::int32_t id, Draft& draft)
{
    static_cast<void>(changeableRole(model, id, "deleted"));
    draft.removeRole(id);
}

} // namespace keepsafe_service
