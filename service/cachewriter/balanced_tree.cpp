#include "cachewriter/balanced_tree.h"

namespace keepsafe_service {

namespace {

/// Lays out the tree whose node over a range of keys is the key in its middle.
class BalancedLayout {
public:
    explicit BalancedLayout(std::size_t keyCount) : slotOfKey_(keyCount) { slots_.reserve(keyCount); }

    std::vector<TreeSlot> make() &&
    {
        const Range all{0, slotOfKey_.size()};
        place(all, heightOf(all));
        link(all);
        return std::move(slots_);
    }

private:
    struct Range {
        std::size_t begin;
        std::size_t end;

        [[nodiscard]] bool empty() const { return begin == end; }
        [[nodiscard]] std::size_t middle() const { return begin + (end - begin) / 2; }
        [[nodiscard]] Range below() const { return {begin, middle()}; }
        [[nodiscard]] Range above() const { return {middle() + 1, end}; }
    };

    static unsigned heightOf(Range range)
    {
        unsigned height = 0;
        for (std::size_t size = range.end - range.begin; size != 0; size /= 2) {
            ++height;
        }
        return height;
    }

    /// Places the upper `height` levels of the range's tree.
    void place(Range range, unsigned height)
    {
        if (range.empty()) {
            return;
        }
        if (height == 1) {
            slotOfKey_[range.middle()] = static_cast<std::uint32_t>(slots_.size());
            slots_.push_back({static_cast<std::uint32_t>(range.middle()), 0, 0});
            return;
        }
        const unsigned top = height / 2;
        place(range, top);
        placeBelow(range, top, height - top);
    }

    /// Places the subtrees that hang `depth` levels under the range's root, `height` levels of each.
    void placeBelow(Range range, unsigned depth, unsigned height)
    {
        if (range.empty()) {
            return;
        }
        if (depth == 0) {
            place(range, height);
            return;
        }
        placeBelow(range.below(), depth - 1, height);
        placeBelow(range.above(), depth - 1, height);
    }

    void link(Range range)
    {
        TreeSlot& slot = slots_[slotOfKey_[range.middle()]];
        if (!range.below().empty()) {
            slot.left = slotOfKey_[range.below().middle()];
            link(range.below());
        }
        if (!range.above().empty()) {
            slot.right = slotOfKey_[range.above().middle()];
            link(range.above());
        }
    }

    std::vector<std::uint32_t> slotOfKey_;
    std::vector<TreeSlot> slots_;
};

} // namespace

std::vector<TreeSlot> balancedTree(std::size_t keyCount)
{
    if (keyCount == 0) {
        return {};
    }
    return BalancedLayout(keyCount).make();
}

} // namespace keepsafe_service
