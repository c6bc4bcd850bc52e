#include "peers/RoleGrants.h"

#include <map>
#include <stdexcept>

namespace keepsafe_bench {

RoleGrants flattened(const keepsafe_service::Grants& grants)
{
    RoleGrants result;
    for (const auto& [role, words] : grants.roles()) {
        RoleGrant grant{role, {}};
        for (const auto& [index, bits] : words) {
            const auto word = static_cast<std::size_t>(index - RoleGrant::FIRST_WORD);
            if (index < RoleGrant::FIRST_WORD || word >= RoleGrant::WORDS) {
                throw std::logic_error("an operation that the contenders have no room for");
            }
            grant.words[word] = bits;
        }
        result.push_back(grant);
    }
    return result;
}

RoleGrants united(const RoleGrants& left, const RoleGrants& right)
{
    std::map<std::int32_t, RoleGrant> byRole;
    for (const RoleGrants* grants : {&left, &right}) {
        for (const RoleGrant& grant : *grants) {
            RoleGrant& sum = byRole.try_emplace(grant.role, RoleGrant{grant.role, {}}).first->second;
            for (std::size_t word = 0; word < RoleGrant::WORDS; ++word) {
                sum.words[word] |= grant.words[word];
            }
        }
    }
    RoleGrants result;
    for (const auto& [role, grant] : byRole) {
        result.push_back(grant);
    }
    return result;
}

} // namespace keepsafe_bench
