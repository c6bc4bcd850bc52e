#ifndef KEEPSAFE_SERVICE_ACCESSCONTROL_STORED_TEXTS_H
#define KEEPSAFE_SERVICE_ACCESSCONTROL_STORED_TEXTS_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <keepsafe/rbac/api/ManagedObjectState.h>
#include <keepsafe/rbac/api/ManagedObjects.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// Values as texts of the database, and back.

namespace keepsafe_service {

/// A stored text that is not what it should be; `what()` quotes it.
class BadStoredText : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The functions that read throw `BadStoredText`.
[[nodiscard]] std::int32_t storedNumber(const std::string& text);
[[nodiscard]] bool storedFlag(const std::string& text);
/// Numbers separated by blanks.
[[nodiscard]] std::vector<std::int32_t> storedNumbers(const std::string& text);
[[nodiscard]] Tessara::Keepsafe::Rbac::ManagedObjectState storedState(const std::string& text);
[[nodiscard]] Tessara::Keepsafe::Rbac::Propagation storedPropagation(const std::string& text);
[[nodiscard]] Tessara::Keepsafe::Rbac::ObjectNamespace storedNamespace(const std::string& text);

[[nodiscard]] std::string textOf(const std::vector<std::int32_t>& numbers);
[[nodiscard]] std::string textOf(Tessara::Keepsafe::Rbac::ManagedObjectState state);
[[nodiscard]] std::string textOf(Tessara::Keepsafe::Rbac::Propagation propagation);

} // namespace keepsafe_service

#endif
