#ifndef KEEPSAFE_CACHE_WALK_REMEMBEREDANSWERS_H
#define KEEPSAFE_CACHE_WALK_REMEMBEREDANSWERS_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include <keepsafe/cache/Operation.h>
#include <keepsafe/cache/detail/RoleIds.h>

#include "CacheWalk.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// Whether any of a caller's roles holds an operation in role trees, many of which are met again: writers
/// store equal trees once. Valid while the reader of `walk` is.
class RememberedAnswers {
public:
    RememberedAnswers(const CacheWalk& walk, const RoleIds& roleIds, const Operation& operation) noexcept
        : walk_(walk), roleIds_(roleIds), operation_(operation), steps_(MOST_STEPS)
    {
    }

    /// Throws when the tree is damaged.
    [[nodiscard]] bool isGranted(NodeOffset roleTree)
    {
        if (roleTree == 0) {
            return false;
        }
        Entry& entry = entries_[(roleTree / sizeof(BitsNode)) % entries_.size()];
        if (entry.roleTree != roleTree) {
            const bool answer = walk_.isGranted(anyRoleHolds(roleTree));
            entry = {roleTree, answer};
        }
        return entry.answer;
    }

    /// Records visited so far.
    [[nodiscard]] std::size_t steps() const noexcept { return MOST_STEPS - steps_.left(); }

private:
    /// Far more than any walk needs that does not go round in circles.
    static constexpr std::size_t MOST_STEPS = std::size_t{1} << 32U;

    struct Entry {
        NodeOffset roleTree = 0;
        bool answer = false;
    };

    /// Roles that are looked for in a part of a tree, ascending.
    struct Part {
        NodeOffset offset;
        const std::int32_t* first;
        const std::int32_t* last;
    };

    /// The answer of `detail::anyRoleHolds`. Most trees have fewer roles than a caller with many has, so the
    /// roles go down together and part where their ways do: each node is visited once.
    [[nodiscard]] RoleAnswer anyRoleHolds(NodeOffset roleTree)
    {
        parts_.clear();
        parts_.push_back({roleTree, roleIds_.begin(), roleIds_.end()});
        while (!parts_.empty()) {
            Part part = parts_.back();
            parts_.pop_back();
            const RoleAnswer answer = search(part);
            if (answer.kind != RoleAnswer::DENIED) {
                return answer;
            }
        }
        return RoleAnswer::denied();
    }

    /// Follows the smallest roles of the part to the end; the others are added to `parts_`.
    [[nodiscard]] RoleAnswer search(Part& part)
    {
        // No tree has more nodes than the file has records.
        std::size_t left = walk_.nodes().count();
        while (part.offset != 0 && part.first != part.last) {
            const BitsNode* const node = walk_.nodes().find(part.offset);
            if (__builtin_expect(node == nullptr, 0)) {
                return RoleAnswer::damaged({part.offset, Damage::OUTSIDE});
            }
            if (__builtin_expect(left-- == 0 || !steps_.spend(), 0)) {
                return RoleAnswer::damaged({part.offset, Damage::ENDLESS});
            }
            const std::int32_t* const notSmaller = std::lower_bound(part.first, part.last, node->key);
            if (part.first != notSmaller) {
                if (notSmaller != part.last) {
                    parts_.push_back({part.offset, notSmaller, part.last});
                }
                part.last = notSmaller;
                part.offset = node->left;
                continue;
            }
            if (*part.first == node->key) {
                const RoleAnswer answer = detail::wordsHold(walk_.nodes(), node->value, operation_, steps_);
                if (answer.kind != RoleAnswer::DENIED) {
                    return answer;
                }
                ++part.first;
            }
            part.offset = node->right;
        }
        return RoleAnswer::denied();
    }

    const CacheWalk& walk_;
    const RoleIds& roleIds_;
    const Operation& operation_;
    StepBudget steps_;
    std::array<Entry, 1024> entries_{};
    std::vector<Part> parts_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
