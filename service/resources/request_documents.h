#ifndef KEEPSAFE_SERVICE_RESOURCES_REQUEST_DOCUMENTS_H
#define KEEPSAFE_SERVICE_RESOURCES_REQUEST_DOCUMENTS_H

#include <string>
#include <vector>

#include "accesscontrol/records.h"

/// \file
/// The documents that clients send. Each reader throws `Refusal` with the place of the first fault:
/// `Malformed` for what is not JSON or not of the document's form, `WrongType` for a resource of another
/// type, `Invalid` for a value that is not allowed. Unknown members are ignored, but not those of
/// `accessControlAttributes`: a misspelt one could grant what nobody wanted to grant.

namespace keepsafe_service {

struct RoleText {
    std::string name;
    std::string description; ///< empty when there is none
};

[[nodiscard]] RoleText readRole(const std::string& body);
[[nodiscard]] bool readInherit(const std::string& body);
[[nodiscard]] Grant readGrant(const std::string& body);
[[nodiscard]] Registration readRegistration(const std::string& body);
/// At least one.
[[nodiscard]] std::vector<Registration> readRegistrations(const std::string& body);
[[nodiscard]] std::vector<StateChange> readStateChanges(const std::string& body);

} // namespace keepsafe_service

#endif
