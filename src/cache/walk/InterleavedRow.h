#ifndef KEEPSAFE_CACHE_WALK_INTERLEAVEDROW_H
#define KEEPSAFE_CACHE_WALK_INTERLEAVEDROW_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>

#include <keepsafe/cache/detail/records.h>

#include "CacheWalk.h"
#include "RowDecision.h"
#include "SegmentCursor.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// Names in any order: many walks are under way at the same time, and each pauses while the record that it
/// needs next is fetched from memory. Throws when the cache is damaged.
class InterleavedRow {
public:
    explicit InterleavedRow(const RowDecision& decision) noexcept : decision_(decision) {}

    /// Answers as many of the names as are begun before the deadline, at least one. Returns how many.
    [[nodiscard]] std::size_t run(const Deadline& deadline)
    {
        std::size_t last = decision_.piece().count;
        std::size_t begun = 0;
        std::size_t underWay = std::min(last, descents_.size());
        for (; begun < underWay; ++begun) {
            begin(descents_[begun], begun);
        }
        while (underWay > 0) {
            for (std::size_t i = 0; i < underWay;) {
                if (!advance(descents_[i])) {
                    ++i;
                    continue;
                }
                if (begun < last && deadline.hasPassed(begun)) {
                    last = begun;
                }
                if (begun < last) {
                    begin(descents_[i++], begun);
                    ++begun;
                } else if (i != --underWay) {
                    descents_[i] = descents_[underWay];
                }
            }
        }
        return begun;
    }

private:
    static constexpr std::size_t IN_FLIGHT = 24;
    static constexpr std::size_t MOST_OBJECTS = 20; ///< of a name that is walked here
    static constexpr NodeOffset NEAR_BYTES = 256;   ///< fetched along with the record before

    enum class Stage { Segments, Objects, Roots, Grants };

    struct Descent {
        std::size_t index = 0;
        std::optional<SegmentCursor> segment;
        NodeOffset at = 0;
        std::size_t steps = 0;
        std::size_t count = 0;
        Stage stage = Stage::Segments;
        std::array<MetObject, MOST_OBJECTS> met;
    };

    void begin(Descent& descent, std::size_t index) const
    {
        const CacheWalk& walk = decision_.walk();
        descent.index = index;
        descent.segment.emplace(decision_.piece().texts[index]);
        descent.at = descent.segment->atEnd() ? 0 : walk.segmentRoot();
        descent.steps = 0;
        descent.count = 0;
        descent.stage = Stage::Segments;
        fetch(walk.segments(), descent.at);
    }

    template <typename Record>
    static void fetch(const RecordView<Record>& records, NodeOffset offset)
    {
        if (offset != 0) {
            __builtin_prefetch(records.find(offset));
        }
    }

    /// To where the next record is waited for. True: the name is answered.
    [[nodiscard]] bool advance(Descent& descent) const
    {
        switch (descent.stage) {
        case Stage::Segments:
            walkSegments(descent);
            return false;
        case Stage::Objects:
            fetchRoots(descent);
            return false;
        case Stage::Roots:
            fetchChildren(descent);
            return false;
        case Stage::Grants:
            break;
        }
        if (descent.count > MOST_OBJECTS) {
            decision_.decideAfresh(descent.index);
        } else {
            decision_.decide(descent.index, descent.met.data(), descent.met.data() + descent.count);
        }
        return true;
    }

    void walkSegments(Descent& descent) const
    {
        const CacheWalk& walk = decision_.walk();
        while (descent.at != 0) {
            const SegmentNode* node = walk.segments().find(descent.at);
            if (__builtin_expect(node == nullptr, 0)) {
                walk.throwDamagedSegments({descent.at, Damage::OUTSIDE});
            }
            fetchBehind(node);
            // No record of a trie is met twice on the way down.
            if (__builtin_expect(++descent.steps > walk.segments().count(), 0)) {
                walk.throwDamagedSegments({descent.at, Damage::ENDLESS});
            }
            const NodeOffset before = descent.at;
            descent.at = next(*node, descent);
            if (descent.at - before > NEAR_BYTES) { // unsigned: any way back is far
                fetch(walk.segments(), descent.at);
                break;
            }
        }
        if (descent.at == 0) {
            descent.stage = Stage::Objects;
        }
    }

    /// The record to visit after that one; 0 at the end.
    [[nodiscard]] NodeOffset next(const SegmentNode& node, Descent& descent) const
    {
        SegmentCursor& segment = *descent.segment;
        const std::int32_t key = segment.value();
        if (node.key != key) {
            return node.key > key ? node.left : node.right;
        }
        const bool endsComponent = segment.endsComponent();
        segment.advance();
        if (endsComponent && node.object != 0) {
            const ManagedObject* const object = &decision_.walk().managedObject(node.object);
            __builtin_prefetch(object);
            if (descent.count < MOST_OBJECTS) {
                descent.met[descent.count] = {object, segment.position()};
            }
            ++descent.count;
        }
        return segment.atEnd() ? 0 : node.nextLevel;
    }

    template <typename Use>
    void forNeededTrees(const Descent& descent, const Use& use) const
    {
        const std::size_t textLength = decision_.piece().texts[descent.index].size();
        const std::size_t count = std::min(descent.count, MOST_OBJECTS);
        for (std::size_t i = 0; i < count; ++i) {
            const NodeOffset tree = descent.met[i].countingTree(textLength);
            if (decision_.needs(tree)) {
                use(tree);
            }
        }
    }

    void fetchRoots(Descent& descent) const
    {
        descent.stage = Stage::Grants;
        forNeededTrees(descent, [&](NodeOffset tree) {
            fetch(decision_.walk().nodes(), tree);
            descent.stage = Stage::Roots;
        });
    }

    void fetchChildren(Descent& descent) const
    {
        descent.stage = Stage::Grants;
        forNeededTrees(descent, [&](NodeOffset tree) {
            if (const BitsNode* node = decision_.walk().nodes().find(tree)) {
                fetch(decision_.walk().nodes(), node->left);
                fetch(decision_.walk().nodes(), node->right);
            }
        });
    }

    const RowDecision& decision_;
    std::array<Descent, IN_FLIGHT> descents_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
