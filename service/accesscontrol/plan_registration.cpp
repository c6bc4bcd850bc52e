#include <unordered_set>

#include "accesscontrol/plans.h"
#include "accesscontrol/validation.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;
using Tessara::Keepsafe::Rbac::PENDING;
using Tessara::Keepsafe::Rbac::READY;

namespace {

class RegistrationPlan {
public:
    RegistrationPlan(const Model& model, Draft& draft) : model_(model), draft_(draft) {}

    void check(const std::vector<Registration>& registrations)
    {
        for (const Registration& registration : registrations) {
            checkObject(registration);
            for (const ObjectNamespace& child : registration.children) {
                checkChild(registration, child);
            }
        }
        refuseIfAny(Refusal::Invalid, "the registration is not valid", invalid_);
        refuseIfAny(Refusal::Conflict, "objects are registered already", conflicts_);
    }

    RegisteredObjects carryOut(const Registration& registration)
    {
        RegisteredObjects result = {registration.ns, {}};
        const Model::Object* const known = model_.object(registration.ns.str());
        const bool stays = known != nullptr && known->kept.state == READY;
        const std::int32_t number = stays ? known->kept.number : makePending(registration, known);
        if (!stays) {
            result.registered.push_back(registration.ns);
        }
        for (const ObjectNamespace& child : registration.children) {
            const Model::Object* const knownChild = model_.object(child.str());
            if (knownChild == nullptr || knownChild->kept.state != READY) {
                static_cast<void>(makePending(child, knownChild, {0, "", "", true, PENDING, number}));
                result.registered.push_back(child);
            }
        }
        return result;
    }

private:
    void checkObject(const Registration& registration)
    {
        if (registration.ns.is_root()) {
            invalid_.emplace_back("the root namespace cannot be registered");
        }
        checkName(registration, registration.ns);
        checkObjectType(registration.ns.str(), registration.type, invalid_);
        for (const Grant& grant : registration.grants) {
            checkGrant(model_, grant, "object " + registration.ns.str() + ": ", invalid_);
        }
    }

    void checkChild(const Registration& registration, const ObjectNamespace& child)
    {
        if (child == registration.ns || !registration.ns.is_ancestor_of(child)) {
            invalid_.push_back("child " + child.str() + " does not lie below " + registration.ns.str());
        }
        checkName(registration, child);
    }

    void checkName(const Registration& registration, const ObjectNamespace& ns)
    {
        checkObjectName(ns, invalid_);
        if (!names_.insert(ns.str()).second) {
            invalid_.push_back("object " + ns.str() + " is named twice");
        } else if (!registration.ignoreAlreadyRegistered && model_.object(ns.str()) != nullptr) {
            conflicts_.push_back("object " + ns.str() + " is registered already");
        }
    }

    /// Returns the object's number.
    std::int32_t makePending(const Registration& registration, const Model::Object* known)
    {
        const std::int32_t number =
            makePending(registration.ns, known, {0, "", registration.type, registration.inherit, PENDING, 0});
        for (const Grant& grant : registration.grants) {
            draft_.add(number, grant);
        }
        return number;
    }

    std::int32_t makePending(const ObjectNamespace& ns, const Model::Object* known, KeptObject object)
    {
        object.name = ns.str();
        if (known == nullptr) {
            return draft_.add(std::move(object));
        }
        draft_.removeDefinitions(*known);
        removeForgottenChildren(*known);
        object.number = known->kept.number;
        return (draft_.edit(*known) = std::move(object)).number;
    }

    /// What an earlier registration brought along, and never became ready, goes unless it is named again.
    void removeForgottenChildren(const Model::Object& object)
    {
        for (const std::int32_t number : object.children) {
            const Model::Object& child = *model_.object(number);
            if (child.kept.state == PENDING && names_.count(child.kept.name) == 0) {
                draft_.remove(child);
                removeForgottenChildren(child);
            }
        }
    }

    const Model& model_;
    Draft& draft_;
    std::unordered_set<std::string> names_;
    Faults invalid_;
    Faults conflicts_;
};

} // namespace

std::vector<RegisteredObjects> planRegistration(const Model& model,
                                                const std::vector<Registration>& registrations, Draft& draft)
{
    RegistrationPlan plan(model, draft);
    plan.check(registrations);
    std::vector<RegisteredObjects> results;
    results.reserve(registrations.size());
    for (const Registration& registration : registrations) {
        results.push_back(plan.carryOut(registration));
    }
    return results;
}

} // namespace keepsafe_service
