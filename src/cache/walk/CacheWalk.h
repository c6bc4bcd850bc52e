#ifndef KEEPSAFE_CACHE_WALK_CACHEWALK_H
#define KEEPSAFE_CACHE_WALK_CACHEWALK_H

#include <string>

#include <keepsafe/cache/AccessCache.h>

#include "SegmentCursor.h"
#include "role_tree.h"
#include "search_tree.h"

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
    [[nodiscard]] const ManagedObject* lookup(const std::string& text) const
    {
        const ManagedObject* found = nullptr;
        walkTrie(text, [&](const SegmentNode& node, bool /*endsComponent*/, bool isNamed) {
            if (isNamed && node.object != 0) {
                found = &managedObject(node.object);
            }
        });
        return found;
    }

    /// See `AccessCache::Reader::visitPath`; `text` is the name's text form. Throws when the trie is damaged.
    template <typename Visitor>
    void visitPath(const std::string& text, const Visitor& visit) const
    {
        walkTrie(text, [&](const SegmentNode& node, bool endsComponent, bool isNamed) {
            if (endsComponent && node.object != 0) {
                visit(managedObject(node.object), isNamed);
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
            reader_.cache_.throwUnreadable("a file was cut short while it was read");
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

private:
    [[nodiscard]] const SegmentNode* findSegment(NodeOffset level, std::int32_t key, StepBudget& budget) const
    {
        return findInTree(segments_, level, key, budget, [this](const Damage& where) -> const SegmentNode* {
            reader_.throwDamaged(AccessCache::SEGMENT_FILE_NAME, where.offset, where.what);
        });
    }

    /// Calls `meet(const SegmentNode& node, bool endsComponent, bool isLast)` for the node of each
    /// segment of the text, as far as the trie has them.
    template <typename Meet>
    void walkTrie(const std::string& text, const Meet& meet) const
    {
        SegmentCursor segment(text);
        // No record of a trie is met twice on the way down.
        const std::size_t records = segments_.count();
        StepBudget budget(records, records);
        NodeOffset level = reader_.segmentRoot();
        while (level != 0) {
            const SegmentNode* node = findSegment(level, segment.value(), budget);
            if (node == nullptr) {
                return;
            }
            const bool endsComponent = segment.endsComponent();
            segment.advance();
            meet(*node, endsComponent, segment.atEnd());
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
    mutable StepBudget bitsBudget_{nodes_.count(), nodes_.count() + MOST_BITS_STEPS};
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
