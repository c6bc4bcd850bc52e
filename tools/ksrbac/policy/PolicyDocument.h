#ifndef KSRBAC_POLICY_POLICYDOCUMENT_H
#define KSRBAC_POLICY_POLICYDOCUMENT_H

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "io/Console.h"
#include "policy/OperationNames.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// Collects objects and prints them as one policy document, which `ksrbac-sandbox compile` takes. The
/// definitions come after the objects in it, so they are kept until the end.
class PolicyDocument {
public:
    /// Roles are called `role ID` where `roles`, which must outlive the document, does not know their names.
    PolicyDocument(const OperationNames& operations, const RoleNames& roles);

    /// Throws `std::runtime_error` for an operation whose number no document can have.
    void add(const Tessara::Keepsafe::Rbac::GrantedObject& object);
    void print(Console& console) const;
    /// Operations that the operation cache does not know; they are called by their bits.
    [[nodiscard]] const std::map<std::int32_t, std::string>& unknown() const noexcept { return unknown_; }

private:
    using Words = Tessara::Keepsafe::Rbac::RoleWords;

    void addDefinitions(const std::string& object, const char* propagation,
                        const std::map<std::int32_t, std::set<std::int32_t>>& grants);
    [[nodiscard]] std::string nameOf(std::int32_t bit);

    const RoleNames& roleNames_;
    std::map<std::int32_t, std::string> operations_;
    std::map<std::int32_t, std::string> unknown_;
    std::set<std::int32_t> roles_;
    std::string objects_;
    std::string definitions_;
};

} // namespace ksrbac

#endif
