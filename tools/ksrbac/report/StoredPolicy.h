#ifndef KSRBAC_REPORT_STOREDPOLICY_H
#define KSRBAC_REPORT_STOREDPOLICY_H

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include <keepsafe/rbac/questions/policy_contents.h>

#include "report/NameTree.h"

namespace ksrbac {

/// All of a policy in memory. Objects with the same grants share them.
class StoredPolicy {
public:
    /// What an object has beside its name.
    struct State {
        bool inherits;
        std::uint32_t onObject;   ///< its place in `sets`
        std::uint32_t onChildren; ///< its place in `sets`
    };

    /// Reads the source to its end. Throws what that throws.
    explicit StoredPolicy(Tessara::Keepsafe::Rbac::PolicySource& source);

    /// The value of a name is the place of its state, counted from 1.
    [[nodiscard]] const NameTree& names() const noexcept { return names_; }
    [[nodiscard]] const std::vector<State>& states() const noexcept { return states_; }
    [[nodiscard]] const std::vector<Tessara::Keepsafe::Rbac::RoleWords>& sets() const noexcept
    {
        return sets_;
    }

private:
    [[nodiscard]] std::uint32_t stateOf(const Tessara::Keepsafe::Rbac::GrantedObject& object);
    [[nodiscard]] std::uint32_t setOf(const Tessara::Keepsafe::Rbac::RoleWords& words);

    NameTree names_;
    std::vector<State> states_;
    std::vector<Tessara::Keepsafe::Rbac::RoleWords> sets_;
    std::map<std::tuple<bool, std::uint32_t, std::uint32_t>, std::uint32_t> stateNumbers_;
    std::unordered_map<std::string, std::uint32_t> setNumbers_; ///< by the bytes of their words
};

/// The objects of a stored policy, which must outlive it.
class StoredSource final : public Tessara::Keepsafe::Rbac::PolicySource {
public:
    explicit StoredSource(const StoredPolicy& policy) : policy_(policy), walk_(policy.names()) {}

    [[nodiscard]] bool next(Tessara::Keepsafe::Rbac::GrantedObject& object) override;

private:
    const StoredPolicy& policy_;
    NameTree::Walk walk_;
};

} // namespace ksrbac

#endif
