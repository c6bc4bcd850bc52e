#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_READY_OBJECTS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_READY_OBJECTS_H

#include <string>
#include <unordered_set>

#include "accesscontrol/Model.h"

namespace keepsafe_service {

/// Adds the names of all objects that are ready.
void noteReadyObjects(const Model& model, std::unordered_set<std::string>& names);

/// The same of those that the changes concern: called before a change and after it, it finds all that the
/// access cache has to learn.
void noteReadyObjects(const Model& model, const Changes& changes, std::unordered_set<std::string>& names);

} // namespace keepsafe_service

#endif
