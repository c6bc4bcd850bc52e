#ifndef KEEPSAFE_BENCH_PEERS_ROLEGRANTS_H
#define KEEPSAFE_BENCH_PEERS_ROLEGRANTS_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "cachewriter/Grants.h"
#include "generate/GeneratedCache.h"
#include "questions/Questions.h"

namespace keepsafe_bench {

/// What one role may do, as the hash table and the databases store it: flat, with room for exactly the
/// existing operations. For one known set of operations this would be the natural choice over trees.
struct RoleGrant {
    static constexpr std::int32_t FIRST_WORD = keepsafe_sandbox::GeneratedCache::FIRST_BIT / 32;
    static constexpr std::size_t WORDS = keepsafe_sandbox::GeneratedCache::OPERATIONS / 32;

    std::int32_t role;
    std::uint32_t words[WORDS];
};

using RoleGrants = std::vector<RoleGrant>;

RoleGrants flattened(const keepsafe_service::Grants& grants);
/// The union of both grants, each role once.
RoleGrants united(const RoleGrants& left, const RoleGrants& right);

/// Whether one of `count` grants gives a role of the caller the operation. Most grants do not have the
/// operation's bit; only for those that do is the role searched for among the caller's. The bytes come from a
/// database and are not aligned.
inline bool anyGranted(const char* grants, std::size_t count, const PeerCaller& caller)
{
    const auto word = static_cast<std::size_t>(caller.operation.wordIndex() - RoleGrant::FIRST_WORD);
    const std::uint32_t mask = caller.operation.bitMask();
    for (const char* grant = grants; grant != grants + count * sizeof(RoleGrant);
         grant += sizeof(RoleGrant)) {
        std::uint32_t bits = 0;
        std::memcpy(&bits, grant + offsetof(RoleGrant, words) + word * sizeof bits, sizeof bits);
        if ((bits & mask) != 0) {
            std::int32_t role = 0;
            std::memcpy(&role, grant + offsetof(RoleGrant, role), sizeof role);
            if (std::binary_search(caller.roles.begin(), caller.roles.end(), role)) {
                return true;
            }
        }
    }
    return false;
}

} // namespace keepsafe_bench

#endif
