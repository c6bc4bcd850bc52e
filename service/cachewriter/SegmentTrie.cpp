#include "cachewriter/SegmentTrie.h"

#include <algorithm>
#include <cstdint>

#include "cachewriter/CacheImage.h"
#include "cachewriter/balanced_tree.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::NodeOffset;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;

namespace {

/// The segment of a name that begins at some position: at most four bytes, ending after a bar at the latest.
struct Segment {
    std::int32_t value;
    std::size_t length;
};

Segment segmentAt(std::string_view text, std::size_t position)
{
    std::uint32_t value = 0;
    std::size_t length = 0;
    while (length < 4 && position + length < text.size()) {
        const auto byte = static_cast<unsigned char>(text[position + length]);
        value |= std::uint32_t{byte} << (24U - 8U * static_cast<unsigned>(length));
        ++length;
        if (byte == '|') {
            break;
        }
    }
    return {static_cast<std::int32_t>(value), length};
}

class TrieBuilder {
public:
    explicit TrieBuilder(const std::vector<TrieEntry>& entries) : entries_(entries), nodes_(1) {}

    std::vector<SegmentNode> build() &&
    {
        // A work list instead of recursion: names may have any number of segments.
        if (!entries_.empty()) {
            pending_.push_back({0, entries_.size(), 0, 0});
        }
        while (!pending_.empty()) {
            const Level level = pending_.back();
            pending_.pop_back();
            addLevel(level);
        }
        return std::move(nodes_);
    }

private:
    /// The segments that follow a common beginning of some names.
    struct Level {
        std::size_t begin;    ///< first of the names
        std::size_t end;      ///< past the last of them
        std::size_t position; ///< length of the common beginning
        std::size_t parent;   ///< number of the record whose next level this is; 0: none
    };
    /// The names of a level that share its segment too.
    struct Group {
        std::int32_t key;
        Level next;
        NodeOffset object;
    };

    static NodeOffset offsetOf(std::size_t number) { return recordOffset<SegmentNode>(number, "segments"); }

    void addLevel(const Level& level)
    {
        collectGroups(level);
        const std::size_t first = nodes_.size();
        nodes_[level.parent].nextLevel = level.parent == 0 ? 0 : offsetOf(first);
        for (const TreeSlot& slot : balancedTree(groups_.size())) {
            Group& group = groups_[slot.key];
            group.next.parent = nodes_.size();
            SegmentNode node = {};
            node.left = slot.left == 0 ? 0 : offsetOf(first + slot.left);
            node.right = slot.right == 0 ? 0 : offsetOf(first + slot.right);
            node.key = group.key;
            node.object = group.object;
            nodes_.push_back(node);
        }
        std::for_each(groups_.rbegin(), groups_.rend(), [this](const Group& group) {
            if (group.next.begin != group.next.end) {
                pending_.push_back(group.next);
            }
        });
    }

    void collectGroups(const Level& level)
    {
        groups_.clear();
        for (std::size_t index = level.begin; index != level.end; ++index) {
            const TrieEntry& entry = entries_[index];
            const Segment segment = segmentAt(entry.text, level.position);
            if (groups_.empty() || groups_.back().key != segment.value) {
                groups_.push_back(
                    {segment.value, {index, index, level.position + segment.length, 0}, NodeOffset{0}});
            }
            Group& group = groups_.back();
            if (group.next.position == entry.text.size()) {
                // The shortest of the names with this beginning, so it comes first.
                group.object = entry.object;
                group.next.begin = index + 1;
            }
            group.next.end = index + 1;
        }
        // Text forms are ASCII and already in this order; other bytes would be signed in the file.
        const auto less = [](const Group& left, const Group& right) { return left.key < right.key; };
        if (!std::is_sorted(groups_.begin(), groups_.end(), less)) {
            std::sort(groups_.begin(), groups_.end(), less);
        }
    }

    const std::vector<TrieEntry>& entries_;
    std::vector<SegmentNode> nodes_;
    std::vector<Level> pending_;
    std::vector<Group> groups_; ///< of the level at work; kept for its memory
};

} // namespace

std::vector<SegmentNode> buildSegmentTrie(const std::vector<TrieEntry>& entries)
{
    return TrieBuilder(entries).build();
}

} // namespace keepsafe_service
