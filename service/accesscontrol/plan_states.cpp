#include <map>

#include "accesscontrol/plans.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::DELETED;
using Tessara::Keepsafe::Rbac::ManagedObjectState;
using Tessara::Keepsafe::Rbac::PENDING;
using Tessara::Keepsafe::Rbac::READY;

namespace {

class StatePlan {
public:
    StatePlan(const Model& model, Draft& draft) : model_(model), draft_(draft) {}

    void read(const std::vector<StateChange>& changes)
    {
        Faults unknown;
        Faults invalid;
        for (const StateChange& change : changes) {
            const Model::Object* const object = model_.object(change.ns.str());
            if (change.state != READY && change.state != PENDING && change.state != DELETED) {
                invalid.push_back("object " + change.ns.str() + ": there is no state " +
                                  std::to_string(static_cast<int>(change.state)));
            }
            if (object == nullptr) {
                unknown.push_back("there is no object " + change.ns.str());
            } else if (!wanted_.emplace(object->kept.number, change.state).second) {
                invalid.push_back("object " + change.ns.str() + " is named twice");
            }
        }
        refuseIfAny(Refusal::Invalid, "the changes of states are not valid", invalid);
        refuseIfAny(Refusal::Unknown, "objects are not known", unknown);
    }

    void carryOut()
    {
        for (const auto& [number, state] : wanted_) {
            moveTo(*model_.object(number), state);
        }
    }

private:
    /// Ends, as a child lies below the object that it was registered with.
    void moveTo(const Model::Object& object, ManagedObjectState state)
    {
        if (state == DELETED) {
            draft_.remove(object);
        } else if (object.kept.state != state) {
            draft_.edit(object).state = state;
        }
        for (const std::int32_t child : object.children) {
            if (wanted_.count(child) == 0) {
                moveTo(*model_.object(child), state);
            }
        }
    }

    const Model& model_;
    Draft& draft_;
    std::map<std::int32_t, ManagedObjectState> wanted_;
};

} // namespace

void planStates(const Model& model, const std::vector<StateChange>& changes, Draft& draft)
{
    StatePlan plan(model, draft);
    plan.read(changes);
    plan.carryOut();
}

} // namespace keepsafe_service
