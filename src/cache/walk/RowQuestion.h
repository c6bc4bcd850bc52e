#ifndef KEEPSAFE_CACHE_WALK_ROWQUESTION_H
#define KEEPSAFE_CACHE_WALK_ROWQUESTION_H

#include <cstddef>
#include <cstdint>
#include <vector>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/RoleIds.h>
#include <keepsafe/cache/detail/records.h>

#include "CacheWalk.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// What one caller asks about each object of a row: remembers what role trees have answered, because many
/// objects share theirs. For one hold of the lock; `forget` begins the next.
class RowQuestion {
public:
    /// `objects`: about how many will be asked about under one lock.
    RowQuestion(const RoleIds& roles, const Operation& operation, std::size_t objects)
        : roles_(&roles), operation_(&operation), answers_(sizeFor(objects))
    {
    }

    void forget() { answers_.assign(answers_.size(), Remembered{}); }

    [[nodiscard]] bool remembers(NodeOffset roleTree) const noexcept
    {
        return roleTree == 0 || placeOf(roleTree).roleTree == roleTree;
    }

    /// Whether one of the roles is granted the operation in the role tree. Throws when the tree is damaged.
    [[nodiscard]] bool isGranted(const CacheWalk& walk, NodeOffset roleTree)
    {
        if (roleTree == 0) {
            return false;
        }
        Remembered& place = answers_[indexOf(roleTree)];
        if (place.roleTree != roleTree) {
            const bool answer = walk.isGranted(walk.anyRoleHoldsAfresh(roleTree, *roles_, *operation_));
            place = {roleTree, answer};
        }
        return place.isGranted;
    }

private:
    struct Remembered {
        NodeOffset roleTree = 0;
        bool isGranted = false;
    };

    [[nodiscard]] static std::size_t sizeFor(std::size_t objects) noexcept
    {
        std::size_t size = 64;
        constexpr std::size_t MOST = 4096;
        while (size < MOST && size < 2 * objects) {
            size *= 2;
        }
        return size;
    }
    [[nodiscard]] std::size_t indexOf(NodeOffset roleTree) const noexcept
    {
        return roleTree / sizeof(BitsNode) & (answers_.size() - 1);
    }
    [[nodiscard]] const Remembered& placeOf(NodeOffset roleTree) const noexcept
    {
        return answers_[indexOf(roleTree)];
    }

    const RoleIds* roles_;
    const Operation* operation_;
    std::vector<Remembered> answers_; ///< a power of two of them
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
