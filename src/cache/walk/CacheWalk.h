#ifndef KEEPSAFE_CACHE_WALK_CACHEWALK_H
#define KEEPSAFE_CACHE_WALK_CACHEWALK_H

#include <cstddef>
#include <string_view>

#include <keepsafe/cache/AccessCache.h>

#include "SegmentCursor.h"
#include "role_tree.h"
#include "search_tree.h"
#include "visit_tree.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// The walks through the files of a locked cache, for use inside the library: all questions to a cache are
/// built from these. Everything is inlined into its callers. Valid while the reader is.
class CacheWalk {
public:
    explicit CacheWalk(const AccessCache::Reader& reader) noexcept
        : reader_(reader), objects_(reader.objects_), nodes_(reader.nodes_), segments_(reader.segments_)
    {
    }

    /// The object whose name has this text form, or null. Throws when the trie is damaged.
    [[nodiscard]] const ManagedObject* lookup(std::string_view text) const
    {
        const ManagedObject* found = nullptr;
        walkTrie(text,
                 [&](const SegmentNode& node, bool /*endsComponent*/, bool isNamed, std::size_t /*end*/) {
                     if (isNamed && node.object != 0) {
                         found = &managedObject(node.object);
                     }
                 });
        return found;
    }

    /// See `AccessCache::Reader::visitPath`; `text` is the name's text form. Throws when the trie is damaged.
    template <typename Visitor>
    void visitPath(std::string_view text, const Visitor& visit) const
    {
        visitNames(text,
                   [&](const ManagedObject& object, bool isNamed, std::size_t) { visit(object, isNamed); });
    }

    /// The same with the length that the text has up to the end of the object's name: `visit(object, isNamed,
    /// length)`.
    template <typename Visitor>
    void visitNames(std::string_view text, const Visitor& visit) const
    {
        walkTrie(text, [&](const SegmentNode& node, bool endsComponent, bool isNamed, std::size_t end) {
            if (endsComponent && node.object != 0) {
                visit(managedObject(node.object), isNamed, end);
            }
        });
    }

    /// The record of "objects" that contains the byte at `offset`. Throws when none does.
    [[nodiscard]] const ManagedObject& managedObject(NodeOffset offset) const
    {
        const ManagedObject* object = objects_.find(offset);
        if (__builtin_expect(object == nullptr, 0)) {
            reader_.throwDamaged(AccessCache::OBJECT_FILE_NAME, offset, Damage::OUTSIDE);
        }
        return *object;
    }

    /// Whether the role holds the operation in a role tree.
    [[nodiscard]] RoleAnswer roleHolds(NodeOffset roleTree, std::int32_t roleId,
                                       const Operation& operation) const
    {
        return detail::roleHolds(nodes_, roleTree, roleId, operation, bitsBudget_);
    }

    /// Whether any of the roles holds the operation in a role tree, `ownBits` or `childBits` of an object.
    [[nodiscard]] RoleAnswer anyRoleHolds(NodeOffset roleTree, const RoleIds& roles,
                                          const Operation& operation) const
    {
        return detail::anyRoleHolds(nodes_, roleTree, roles, operation, bitsBudget_);
    }

    /// The same with steps of its own, for questions of which one reader answers any number.
    [[nodiscard]] RoleAnswer anyRoleHoldsAfresh(NodeOffset roleTree, const RoleIds& roles,
                                                const Operation& operation) const
    {
        StepBudget budget(nodes_.count() + MOST_BITS_STEPS);
        return detail::anyRoleHolds(nodes_, roleTree, roles, operation, budget);
    }

    /// Where the role's words begin in a role tree; 0 when it has none there. Throws when the tree is
    /// damaged.
    [[nodiscard]] NodeOffset wordsOf(NodeOffset roleTree, std::int32_t roleId) const
    {
        RoleAnswer answer = RoleAnswer::denied();
        const BitsNode* role = findBits(nodes_, roleTree, roleId, bitsBudget_, answer);
        static_cast<void>(isGranted(answer));
        return role != nullptr ? role->value : 0;
    }

    /// Whether the words hold the operation's bit. Throws when they are damaged.
    [[nodiscard]] bool wordsHold(NodeOffset words, const Operation& operation) const
    {
        return isGranted(detail::wordsHold(nodes_, words, operation, bitsBudget_));
    }

    /// Calls `visit(std::int32_t roleId, NodeOffset words)` for each role of a role tree, ascending. Throws
    /// when the tree is damaged, or has a role where a search would not find it.
    template <typename Visitor>
    void visitRoles(NodeOffset roleTree, const Visitor& visit) const
    {
        const Damage damage = visitTree(nodes_, roleTree, bitsBudget_,
                                        [&](const BitsNode& role) { visit(role.key, role.value); });
        if (damage.what != nullptr) {
            throwDamagedNodes(damage);
        }
    }

    /// The decision of an answer. Throws if the answer is damage.
    [[nodiscard]] bool isGranted(const RoleAnswer& answer) const
    {
        if (__builtin_expect(answer.kind == RoleAnswer::DAMAGED, 0)) {
            reader_.throwDamaged(AccessCache::NODE_FILE_NAME, answer.offset, answer.what);
        }
        return answer.kind == RoleAnswer::GRANTED;
    }

    /// To be called before anything is concluded from what was found. Throws when a file was cut short
    /// meanwhile.
    void requireWhole() const
    {
        // The count is made in this thread, by a signal handler, or in another one.
        std::atomic_signal_fence(std::memory_order_acquire);
        if (__builtin_expect(!reader_.isWhole(), 0)) {
            reader_.throwUnreadable("a file was cut short while it was read");
        }
    }

    /// For walks that are not by one name.
    [[nodiscard]] const RecordView<SegmentNode>& segments() const noexcept { return segments_; }
    [[nodiscard]] const RecordView<BitsNode>& nodes() const noexcept { return nodes_; }
    [[nodiscard]] NodeOffset segmentRoot() const noexcept { return reader_.segmentRoot(); }
    [[noreturn]] void throwDamagedSegments(const Damage& where) const
    {
        reader_.throwDamaged(AccessCache::SEGMENT_FILE_NAME, where.offset, where.what);
    }
    [[noreturn]] void throwDamagedNodes(const Damage& where) const
    {
        reader_.throwDamaged(AccessCache::NODE_FILE_NAME, where.offset, where.what);
    }

    /// The segment with that key in a level's tree, or null. Throws when the tree is damaged.
    [[nodiscard]] const SegmentNode* findSegment(NodeOffset level, std::int32_t key, StepBudget& budget) const
    {
        return findInTree(segments_, level, key, budget,
                          [this](const Damage& where) -> const SegmentNode* { throwDamagedSegments(where); });
    }

private:
    /// Calls `meet(const SegmentNode& node, bool endsComponent, bool isLast, std::size_t end)` for the node
    /// of each segment of the text, as far as the trie has them; the segment ends before the text's byte
    /// `end`.
    template <typename Meet>
    void walkTrie(std::string_view text, const Meet& meet) const
    {
        SegmentCursor segment(text);
        // No record of a trie is met twice on the way down.
        StepBudget budget(segments_.count());
        NodeOffset level = reader_.segmentRoot();
        while (level != 0) {
            const SegmentNode* node = findSegment(level, segment.value(), budget);
            if (node == nullptr) {
                return;
            }
            const bool endsComponent = segment.endsComponent();
            segment.advance();
            meet(*node, endsComponent, segment.atEnd(), segment.position());
            if (segment.atEnd()) {
                return;
            }
            level = node->nextLevel;
        }
    }

    /// Far more than any question needs of trees that are searched, some milliseconds of work.
    static constexpr std::size_t MOST_BITS_STEPS = std::size_t{1} << 24U;

    const AccessCache::Reader& reader_;
    const RecordView<ManagedObject> objects_;
    const RecordView<BitsNode> nodes_;
    const RecordView<SegmentNode> segments_;
    /// Trees of bits are shared, and met again for every role and every ancestor.
    mutable StepBudget bitsBudget_{nodes_.count() + MOST_BITS_STEPS};
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
