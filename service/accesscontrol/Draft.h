#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_DRAFT_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_DRAFT_H

#include <cstdint>
#include <map>
#include <string>
#include <unordered_set>

#include "accesscontrol/Model.h"

namespace keepsafe_service {

/// A set of changes in preparation: removals include what depends on them, and new items get their numbers.
class Draft {
public:
    /// `model` must outlive the object, unchanged.
    explicit Draft(const Model& model);

    /// Throws `Refusal`, `Conflict`, when all ids are used up; so do the other functions that add.
    std::int32_t nextRoleId();
    void put(const RoleRecord& role) { changes_.roles.push_back(role); }
    /// With its definitions.
    void removeRole(std::int32_t id);

    /// A new object. Returns its number.
    std::int32_t add(KeptObject object);
    /// The object as it will be, to be changed.
    KeptObject& edit(const Model::Object& object);
    /// With its definitions.
    void remove(const Model::Object& object);

    /// Returns the definition with its id.
    KeptDefinition add(std::int32_t object, const Grant& grant);
    void removeDefinition(std::int32_t id) { changes_.removedDefinitions.push_back(id); }
    void removeDefinitions(const Model::Object& object);

    [[nodiscard]] Changes finish() &&;

private:
    void releaseChildren();

    const Model& model_;
    Changes changes_;
    std::int32_t nextNumber_;
    std::map<std::int32_t, KeptObject> objects_;
    std::unordered_set<std::int32_t> removedObjects_;
};

} // namespace keepsafe_service

#endif
