#ifndef KSRBAC_POLICY_EDITEDPOLICY_H
#define KSRBAC_POLICY_EDITEDPOLICY_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "policy/OperationNames.h"
#include "policy/role_bits.h"
#include "service/RoleNames.h"

namespace ksrbac {

/// What single changes make of the objects of a policy.
class PolicyEdits {
public:
    /// Both must outlive it.
    PolicyEdits(const OperationNames& operations, RoleNames& roles) : operations_(operations), roles_(roles)
    {
    }

    /// "ROLE:OPERATION,...[:PROPAGATION]@OBJECT". An object that is not there is added. Throws `InputError`,
    /// also for an operation that the host does not know.
    void grant(const std::string& text);
    /// The same, taken away: what is not granted stays so.
    void revoke(const std::string& text);
    /// "OBJECT=on" or "OBJECT=off". Throws `InputError`.
    void setInherit(const std::string& text);

    [[nodiscard]] bool empty() const noexcept { return edits_.empty(); }

private:
    friend class EditedPolicy;

    struct Change {
        RoleBits granted;
        RoleBits revoked;
    };
    struct Edit {
        Change onObject;
        Change onChildren;
        std::optional<bool> inherits;

        [[nodiscard]] bool addsObject() const noexcept
        {
            return inherits || !onObject.granted.empty() || !onChildren.granted.empty();
        }
    };

    void parse(const char* option, const std::string& text, RoleBits Change::*kind);

    const OperationNames& operations_;
    RoleNames& roles_;
    std::map<std::string, Edit> edits_; ///< by the object's text form
};

/// The objects of a policy with edits. Both must outlive it.
class EditedPolicy final : public Tessara::Keepsafe::Rbac::PolicySource {
public:
    EditedPolicy(Tessara::Keepsafe::Rbac::PolicySource& original, const PolicyEdits& edits);

    [[nodiscard]] bool next(Tessara::Keepsafe::Rbac::GrantedObject& object) override;

private:
    using Object = Tessara::Keepsafe::Rbac::GrantedObject;

    static void apply(const PolicyEdits::Edit& edit, Object& object);
    static void apply(const PolicyEdits::Change& change, Tessara::Keepsafe::Rbac::RoleWords& words);

    Tessara::Keepsafe::Rbac::PolicySource& original_;
    std::map<std::string, PolicyEdits::Edit>::const_iterator edit_;
    const std::map<std::string, PolicyEdits::Edit>::const_iterator lastEdit_;
    Object object_; ///< the next one of the original
    bool hasObject_;
};

} // namespace ksrbac

#endif
