#ifndef KEEPSAFE_CACHE_WALK_CONTINUEDROW_H
#define KEEPSAFE_CACHE_WALK_CONTINUEDROW_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "CacheWalk.h"
#include "RowDecision.h"
#include "SegmentCursor.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// How many bytes two texts have in common at their beginnings.
[[nodiscard]] inline std::size_t commonLength(std::string_view left, std::string_view right) noexcept
{
    const std::size_t most = std::min(left.size(), right.size());
    std::size_t length = 0;
    for (; most - length >= sizeof(std::uint64_t); length += sizeof(std::uint64_t)) {
        std::uint64_t a = 0;
        std::uint64_t b = 0;
        std::memcpy(&a, left.data() + length, sizeof a);
        std::memcpy(&b, right.data() + length, sizeof b);
        if (a != b) {
            return length + static_cast<std::size_t>(__builtin_ctzll(a ^ b)) / 8;
        }
    }
    while (length < most && left[length] == right[length]) {
        ++length;
    }
    return length;
}

/// Names one after the other: each walk begins where it leaves that of the name before. Throws when the cache
/// is damaged.
class ContinuedRow {
public:
    explicit ContinuedRow(const RowDecision& decision) : decision_(decision) {}

    /// Whether there is nothing to wait for meanwhile: the cache is small, or the texts ascend and few of
    /// their bytes are new.
    [[nodiscard]] static bool isWorthWhile(const CacheWalk& walk, const RowPiece& piece) noexcept
    {
        return isSmall(walk) || ascends(piece);
    }

    /// Answers as many of the names as are begun before the deadline, at least one. Returns how many.
    [[nodiscard]] std::size_t run(const Deadline& deadline)
    {
        std::size_t index = 0;
        for (; index < decision_.piece().count && !deadline.hasPassed(index); ++index) {
            walkTo(decision_.piece().texts[index]);
            decision_.decide(index, met_.data(), met_.data() + met_.size());
        }
        return index;
    }

private:
    /// Where the tree of a segment was entered.
    struct Level {
        std::size_t position; ///< of the segment in the text
        NodeOffset root;
        std::size_t metCount; ///< objects met before it
    };

    /// Whether the records stay in a processor's own cache, so that a walk never waits for memory.
    [[nodiscard]] static bool isSmall(const CacheWalk& walk) noexcept
    {
        constexpr std::size_t OWN_CACHE = std::size_t{1} << 20U; // bytes
        return walk.segments().count() * sizeof(SegmentNode) + walk.nodes().count() * sizeof(BitsNode) <=
               OWN_CACHE;
    }

    [[nodiscard]] static bool ascends(const RowPiece& piece) noexcept
    {
        constexpr std::size_t MOST_NEW_BYTES = 20; // of a name, on the average
        std::size_t newBytes = 0;
        const std::size_t looked = std::min<std::size_t>(piece.count, 64);
        for (std::size_t i = 1; i < looked; ++i) {
            const std::string_view before = piece.texts[i - 1];
            const std::string_view text = piece.texts[i];
            const std::size_t common = commonLength(before, text);
            const bool ascends = common == before.size() ||
                                 (common < text.size() && static_cast<unsigned char>(before[common]) <
                                                              static_cast<unsigned char>(text[common]));
            if (!ascends) {
                return false;
            }
            newBytes += text.size() - common;
        }
        return looked > 2 && newBytes <= MOST_NEW_BYTES * looked;
    }

    void walkTo(std::string_view text)
    {
        const CacheWalk& walk = decision_.walk();
        const std::size_t common = commonLength(before_, text);
        before_ = text;
        // A segment begins at the same place in both texts if everything before it is the same.
        while (!levels_.empty() && levels_.back().position > common) {
            levels_.pop_back();
        }
        Level level = levels_.empty() ? Level{0, walk.segmentRoot(), 0} : levels_.back();
        met_.resize(level.metCount);
        StepBudget budget(walk.segments().count());
        SegmentCursor segment(text, level.position);
        if (levels_.empty()) {
            levels_.push_back(level);
        }
        while (level.root != 0 && !segment.atEnd()) {
            const SegmentNode* node = walk.findSegment(level.root, segment.value(), budget);
            if (node == nullptr) {
                return;
            }
            const bool endsComponent = segment.endsComponent();
            segment.advance();
            if (endsComponent && node->object != 0) {
                const ManagedObject& object = walk.managedObject(node->object);
                __builtin_prefetch(&object);
                met_.push_back({&object, segment.position()});
            }
            level = {segment.position(), node->nextLevel, met_.size()};
            levels_.push_back(level);
        }
    }

    const RowDecision& decision_;
    std::string_view before_;
    std::vector<Level> levels_;
    std::vector<MetObject> met_;
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
