#include "accesscontrol/Store.h"
#include "accesscontrol/plans.h"
#include "json/Element.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

const Model::Object& knownObject(const Model& model, const ObjectNamespace& ns)
{
    const Model::Object* const object = model.object(ns.str());
    if (object == nullptr) {
        throw Refusal(Refusal::Unknown, "there is no object " + ns.str());
    }
    return *object;
}

void planInherit(const Model& model, const ObjectNamespace& ns, bool inherit, Draft& draft)
{
    const Model::Object& object = knownObject(model, ns);
    if (object.kept.inherit != inherit) {
        draft.edit(object).inherit = inherit;
    }
}

void checkGrant(const Model& model, const Grant& grant, const std::string& place, Faults& faults)
{
    if (model.role(grant.roleId) == nullptr) {
        faults.push_back(place + "there is no role " + std::to_string(grant.roleId));
    }
    if (grant.operations.empty()) {
        faults.push_back(place + "no operation is granted");
    }
    if (grant.operations.size() > Store::MOST_OPERATIONS) {
        faults.push_back(place + std::to_string(grant.operations.size()) +
                         " operations are granted at once, and at most " +
                         std::to_string(Store::MOST_OPERATIONS) + " can be");
        return;
    }
    for (const ObjectNamespace& operation : grant.operations) {
        if (model.operations().count(operation) == 0) {
            faults.push_back(place + "there is no operation " + operation.str());
        }
    }
}

KeptDefinition planGrant(const Model& model, const ObjectNamespace& ns, const Grant& grant, Draft& draft)
{
    const Model::Object& object = knownObject(model, ns);
    Faults faults;
    checkGrant(model, grant, "", faults);
    refuseIfAny(Refusal::Invalid, "the access definition cannot be made", faults);
    return draft.add(object.kept.number, grant);
}

void planDefinitionRemoval(const Model& model, const ObjectNamespace& ns, const std::string& id, Draft& draft)
{
    for (const std::int32_t definition : knownObject(model, ns).definitions) {
        if (std::to_string(definition) == id) {
            draft.removeDefinition(definition);
            return;
        }
    }
    throw Refusal(Refusal::Unknown, "object " + ns.str() + " has no access definition " + quoted(id));
}

} // namespace keepsafe_service
