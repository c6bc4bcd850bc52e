#ifndef KEEPSAFE_RBAC_REGISTRATION_WIRE_TEXT_H
#define KEEPSAFE_RBAC_REGISTRATION_WIRE_TEXT_H

#include <list>
#include <string>

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

/// \file
/// The requests about many objects as texts, written without the trees that the builders of
/// `DefaultObjectRegistrationService` make. INVARIANT: to the byte what `json_dumps_shared` gives for those
/// trees, with the same exceptions and lines in the log. For 10,000 objects a tree takes several times as
/// long, nearly all of it in Jansson's allocations and its search for circles: bench/registration.

namespace Tessara::Keepsafe::Rbac {

std::string bulkRegistrationText(const DefaultObjectRegistrationService::DataList& data);

std::string bulkStateUpdateText(const std::list<ObjectNamespace>& ready,
                                const std::list<ObjectNamespace>& pending,
                                const std::list<ObjectNamespace>& deleted);

} // namespace Tessara::Keepsafe::Rbac

#endif
