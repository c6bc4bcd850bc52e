#ifndef KSRBAC_POLICY_DOCUMENTPOLICY_H
#define KSRBAC_POLICY_DOCUMENTPOLICY_H

#include <map>
#include <string>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "policy/OperationNames.h"

namespace ksrbac {

/// The objects of a policy document (docs/sandbox.md describes it) as a cache made of it would have them.
class DocumentPolicy final : public Tessara::Keepsafe::Rbac::PolicySource {
public:
    /// Reads a file, or standard input for "-". Throws `InputError` with the place of what is wrong, also for
    /// an operation whose bit is not that of the host.
    DocumentPolicy(const std::string& path, const OperationNames& operations);

    [[nodiscard]] bool next(Tessara::Keepsafe::Rbac::GrantedObject& object) override;

private:
    using Objects = std::map<std::string, Tessara::Keepsafe::Rbac::GrantedObject>;

    Objects objects_; ///< by their text forms
    Objects::const_iterator next_;
};

} // namespace ksrbac

#endif
