#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_PLANS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_PLANS_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "accesscontrol/Draft.h"
#include "accesscontrol/faults.h"

/// \file
/// The rules: each function checks a request against what is known and adds what it asks for to a draft, or
/// throws `Refusal`. AccessControl.h says what the requests mean.

namespace keepsafe_service {

RoleRecord planNewRole(const Model& model, const std::string& name, const std::string& description,
                       Draft& draft);
void planRoleUpdate(const Model& model, const RoleRecord& role, Draft& draft);
void planRoleRemoval(const Model& model, std::int32_t id, Draft& draft);
/// The role of that id; `Refusal`, `Unknown`, when there is none. Likewise below.
const RoleRecord& knownRole(const Model& model, std::int32_t id);

const Model::Object& knownObject(const Model& model, const Tessara::Keepsafe::Rbac::ObjectNamespace& ns);
void planInherit(const Model& model, const Tessara::Keepsafe::Rbac::ObjectNamespace& ns, bool inherit,
                 Draft& draft);
KeptDefinition planGrant(const Model& model, const Tessara::Keepsafe::Rbac::ObjectNamespace& ns,
                         const Grant& grant, Draft& draft);
void planDefinitionRemoval(const Model& model, const Tessara::Keepsafe::Rbac::ObjectNamespace& ns,
                           const std::string& id, Draft& draft);
/// Adds what is wrong with a grant to the faults, each beginning with `place`.
void checkGrant(const Model& model, const Grant& grant, const std::string& place, Faults& faults);

std::vector<RegisteredObjects> planRegistration(const Model& model,
                                                const std::vector<Registration>& registrations, Draft& draft);

void planStates(const Model& model, const std::vector<StateChange>& changes, Draft& draft);

} // namespace keepsafe_service

#endif
