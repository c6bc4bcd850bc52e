#ifndef KEEPSAFE_RBAC_QUESTIONS_ROLE_WORDS_H
#define KEEPSAFE_RBAC_QUESTIONS_ROLE_WORDS_H

#include <cstdint>
#include <limits>

#include <keepsafe/rbac/questions/policy_contents.h>

namespace Tessara::Keepsafe::Rbac {

/// What is granted where nothing is.
inline const RoleWords NO_WORDS;

/// Combines two lists word by word: `combine(left, right)` gives the bits of a role's word from those that
/// both have, 0 for none.
template <typename Combine>
[[nodiscard]] RoleWords combined(const RoleWords& left, const RoleWords& right, const Combine& combine)
{
    const auto isBefore = [](const RoleWord& a, const RoleWord& b) {
        return a.roleId != b.roleId ? a.roleId < b.roleId : a.wordIndex < b.wordIndex;
    };
    RoleWords result;
    auto l = left.begin();
    auto r = right.begin();
    while (l != left.end() || r != right.end()) {
        const bool takesLeft = r == right.end() || (l != left.end() && !isBefore(*r, *l));
        const bool takesRight = l == left.end() || (r != right.end() && !isBefore(*l, *r));
        RoleWord word = takesLeft ? *l : *r;
        word.bits = combine(takesLeft ? l->bits : 0U, takesRight ? r->bits : 0U);
        if (word.bits != 0) {
            result.push_back(word);
        }
        l += takesLeft ? 1 : 0;
        r += takesRight ? 1 : 0;
    }
    return result;
}

[[nodiscard]] inline RoleWords unitedWith(const RoleWords& left, const RoleWords& right)
{
    return combined(left, right, [](std::uint32_t l, std::uint32_t r) { return l | r; });
}

/// What only the left has.
[[nodiscard]] inline RoleWords without(const RoleWords& left, const RoleWords& right)
{
    return combined(left, right, [](std::uint32_t l, std::uint32_t r) { return l & ~r; });
}

[[nodiscard]] inline RoleWords inBoth(const RoleWords& left, const RoleWords& right)
{
    return combined(left, right, [](std::uint32_t l, std::uint32_t r) { return l & r; });
}

} // namespace Tessara::Keepsafe::Rbac

#endif
