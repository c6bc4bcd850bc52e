#ifndef KEEPSAFE_RBAC_REGISTRATION_WIRE_TEXT_H
#define KEEPSAFE_RBAC_REGISTRATION_WIRE_TEXT_H

#include <list>
#include <string>

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

/// \file
/// The documents that the registration service sends, as texts: byte for byte what `json_dumps_shared`
/// returns for their trees. For 10,000 objects a tree takes several times as long, nearly all of it in
/// Jansson's allocations and its search for cycles (`ksrbac_bench registration`). The builders of
/// `DefaultObjectRegistrationService` parse these texts into trees.

namespace Tessara::Keepsafe::Rbac {

/// Whether a text holds the accessControlAttributes of its objects, or null in their place.
enum class Attributes { Written, LeftOut };

std::string recordText(const boost::shared_ptr<ObjectRegistrationData>& data, Attributes attributes);

std::string registrationText(const boost::shared_ptr<ObjectRegistrationData>& data, Attributes attributes);

std::string bulkRegistrationText(const DefaultObjectRegistrationService::DataList& data,
                                 Attributes attributes);

std::string stateText(const ObjectNamespace& objectNamespace, const std::string& state);

std::string bulkStateUpdateText(const std::list<ObjectNamespace>& ready,
                                const std::list<ObjectNamespace>& pending,
                                const std::list<ObjectNamespace>& deleted);

} // namespace Tessara::Keepsafe::Rbac

#endif
