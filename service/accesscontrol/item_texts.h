#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_ITEM_TEXTS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_ITEM_TEXTS_H

#include <functional>
#include <string>

#include "accesscontrol/Content.h"

/// \file
/// Roles, operations, objects and access definitions as the journal keeps them: compact JSON of ASCII
/// characters with sorted keys, which names what the store has by number.

namespace keepsafe_service {

[[nodiscard]] std::string roleText(const RoleRecord& role);

[[nodiscard]] std::string operationText(const std::string& operation, std::int32_t bit);

/// `registeredWith`: the name of the object that it was registered with; null for none.
[[nodiscard]] std::string objectText(const KeptObject& object, const std::string* registeredWith);

/// `operationOf`: the text form of the operation with a bit.
[[nodiscard]] std::string
definitionText(const KeptDefinition& definition, const std::string& object,
               const std::function<const std::string&(std::int32_t bit)>& operationOf);

} // namespace keepsafe_service

#endif
