#ifndef KEEPSAFE_CACHE_WALK_NAMEORDERWALK_H
#define KEEPSAFE_CACHE_WALK_NAMEORDERWALK_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "CacheWalk.h"
#include "CanonicalText.h"
#include "SegmentCursor.h"

namespace Tessara::Keepsafe::Rbac::detail {

/// Walks a trie in the order of its texts' bytes: the keys of a level are in this order, and a text comes
/// before those that it begins. Starts at any place in the time of one lookup. Texts that are no beginning of
/// a name's text form are left out with everything below them.
///
/// What applies to everything below a node is carried down by a `Carrier`: `Carrier::State` is what reaches a
/// level, and `below(node, endsComponent, state)` what reaches the level below the node.
///
/// Damage throws: an offset outside the file, keys out of order, a walk that meets more records than the file
/// has, a trie that leads round in a circle. So every text met is one that a lookup finds.
///
/// Valid while the reader of `walk` is. Memory grows with the depth of the trie and of its trees alone.
template <typename Carrier>
class NameOrderWalk {
public:
    using State = typename Carrier::State;

    NameOrderWalk(const CacheWalk& walk, Carrier& carrier)
        : walk_(walk), carrier_(carrier), segments_(walk.segments()), budget_(segments_.count())
    {
    }

    /// Before the first text that `under` begins and that comes after `after`. `under` is a text form;
    /// `after` is empty or the beginning of one.
    void start(const std::string& under, const std::string& after)
    {
        if (!enter(under)) {
            return;
        }
        if (after < under) {
            return; // `under` itself comes next
        }
        pending_.clear();
        if (after.compare(0, under.size(), under) == 0) {
            node_ = base_;
            resume(after, under.size());
        } else {
            levels_.clear();
        }
    }

    /// To the next text. False when there is none.
    [[nodiscard]] bool next()
    {
        descend();
        while (!levels_.empty()) {
            if (pending_.size() == levels_.back().firstPending) {
                levels_.pop_back();
                continue;
            }
            const SegmentNode* const node = pending_.back();
            pending_.pop_back();
            if (levels_.size() > 1) {
                pushLeftmost(node->right, node->key, nextPendingKey());
            }
            if (append(*node)) {
                node_ = node;
                return true;
            }
        }
        return false;
    }

    /// The text that was met.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }
    [[nodiscard]] const SegmentNode& node() const noexcept { return *node_; }
    /// Whether the text is that of a name, and not only the beginning of some.
    [[nodiscard]] bool endsComponent() const noexcept { return endsComponent_; }
    /// What reaches the text from above.
    [[nodiscard]] const State& state() const noexcept { return levels_.back().state; }
    /// Records visited so far.
    [[nodiscard]] std::size_t steps() const noexcept { return segments_.count() - budget_; }

private:
    using Key = std::int64_t; ///< wider than the keys, for bounds outside their range
    static constexpr Key LEAST = std::numeric_limits<std::int32_t>::min() - Key{1};
    static constexpr Key MOST = std::numeric_limits<std::int32_t>::max() + Key{1};
    static constexpr unsigned SEGMENT_BYTES = 4;

    struct Level {
        const SegmentNode* root;
        std::size_t firstPending; ///< of this level in `pending_`
        std::size_t textSize;     ///< of what comes before the level
        CanonicalText canonical;  ///< after that
        State state;
    };

    /// Makes `under`, a text form and so never empty, the only text of the first level. False when the trie
    /// does not have it.
    [[nodiscard]] bool enter(const std::string& under)
    {
        const SegmentNode* node = nullptr;
        std::size_t textSize = 0;
        State state = carrier_.top();
        NodeOffset level = walk_.segmentRoot();
        for (SegmentCursor segment(under); !segment.atEnd(); segment.advance()) {
            if (node != nullptr) {
                state = carrier_.below(*node, endsComponent_, state);
                level = node->nextLevel;
            }
            Bounds bounds;
            node = search(level, segment.value(), bounds, [](const SegmentNode& /*larger*/) {});
            if (node == nullptr) {
                return false;
            }
            endsComponent_ = segment.endsComponent();
            textSize = text_.size();
            appendUnchecked(*node);
        }
        base_ = node;
        levels_.push_back({node, 0, textSize, CanonicalText(), state});
        pending_.push_back(node);
        return true;
    }

    /// Follows `after` from the byte `done` on, below the current node, and leaves what comes behind it
    /// pending.
    void resume(const std::string& after, std::size_t done)
    {
        const std::string rest = after.substr(done);
        for (SegmentCursor segment(rest); !segment.atEnd(); segment.advance()) {
            if (node_->nextLevel == 0) {
                node_ = nullptr;
                return;
            }
            openLevel();
            Bounds bounds;
            const SegmentNode* const found =
                search(node_->nextLevel, segment.value(), bounds,
                       [this](const SegmentNode& larger) { pending_.push_back(&larger); });
            node_ = found;
            if (found == nullptr) {
                return;
            }
            pushLeftmost(found->right, found->key, bounds.above);
            if (!append(*found)) {
                node_ = nullptr;
                return;
            }
        }
    }

    /// To the level below the current node, if there is one.
    void descend()
    {
        if (node_ == nullptr) {
            return;
        }
        if (node_->nextLevel != 0) {
            openLevel();
            pushLeftmost(node_->nextLevel, LEAST, MOST);
        }
        node_ = nullptr;
    }

    /// A level below the current node, nothing of it pending yet.
    void openLevel()
    {
        const SegmentNode& root = at(node_->nextLevel);
        levels_.push_back({&root, pending_.size(), text_.size(), canonical_,
                           carrier_.below(*node_, endsComponent_, levels_.back().state)});
        // A trie that leads round meets a level again below itself. Comparing with the one at the last power
        // of two finds each circle before three times its length.
        const std::size_t depth = levels_.size() - 1;
        const std::size_t mark = std::size_t{1} << (63U - static_cast<unsigned>(__builtin_clzll(depth)));
        if (__builtin_expect(mark != depth && levels_[mark].root == &root, 0)) {
            damaged(node_->nextLevel, Damage::ENDLESS);
        }
    }

    /// Between which keys a node must be.
    struct Bounds {
        Key below = LEAST;
        Key above = MOST;
    };

    /// The node of a level with that key, or null; `passLarger` gets the nodes above it with larger keys.
    template <typename PassLarger>
    [[nodiscard]] const SegmentNode* search(NodeOffset level, std::int32_t key, Bounds& bounds,
                                            const PassLarger& passLarger)
    {
        for (NodeOffset offset = level; offset != 0;) {
            const SegmentNode& node = at(offset, bounds.below, bounds.above);
            if (node.key == key) {
                return &node;
            }
            if (node.key > key) {
                passLarger(node);
                bounds.above = node.key;
                offset = node.left;
            } else {
                bounds.below = node.key;
                offset = node.right;
            }
        }
        return nullptr;
    }

    void pushLeftmost(NodeOffset offset, Key below, Key above)
    {
        while (offset != 0) {
            const SegmentNode& node = at(offset, below, above);
            __builtin_prefetch(&node + 1);
            pending_.push_back(&node);
            above = node.key;
            offset = node.left;
        }
    }

    [[nodiscard]] Key nextPendingKey() const noexcept
    {
        return pending_.size() == levels_.back().firstPending ? MOST : Key{pending_.back()->key};
    }

    /// The record; its key must lie between the two.
    [[nodiscard]] const SegmentNode& at(NodeOffset offset, Key below, Key above)
    {
        const SegmentNode& node = at(offset);
        if (__builtin_expect(budget_ == 0, 0)) {
            damaged(offset, Damage::ENDLESS);
        }
        --budget_;
        if (__builtin_expect(node.key <= below || node.key >= above, 0)) {
            damaged(offset, Damage::UNORDERED);
        }
        return node;
    }
    [[nodiscard]] const SegmentNode& at(NodeOffset offset) const
    {
        const SegmentNode* const node = segments_.find(offset);
        if (__builtin_expect(node == nullptr, 0)) {
            damaged(offset, Damage::OUTSIDE);
        }
        return *node;
    }
    [[noreturn]] void damaged(NodeOffset offset, const char* what) const
    {
        walk_.throwDamagedSegments({offset, what});
    }

    [[nodiscard]] static unsigned char byteOf(std::uint32_t key, unsigned index) noexcept
    {
        return static_cast<unsigned char>(key >> (24U - 8U * index));
    }

    /// Puts a node's bytes behind what comes before its level. False when no name begins like this, or the
    /// key is none of a segment.
    [[nodiscard]] bool append(const SegmentNode& node)
    {
        const Level& level = levels_.back();
        text_.resize(level.textSize);
        canonical_ = level.canonical;
        const auto key = static_cast<std::uint32_t>(node.key);
        for (unsigned i = 0; i < SEGMENT_BYTES; ++i) {
            const unsigned char byte = byteOf(key, i);
            if (!canonical_.add(byte)) {
                return false;
            }
            text_ += static_cast<char>(byte);
            if (byte == '|') {
                endsComponent_ = true;
                // Behind its bar a segment is padded with zeros.
                return i == SEGMENT_BYTES - 1 || key << (8U * (i + 1)) == 0;
            }
        }
        endsComponent_ = false;
        return true;
    }
    void appendUnchecked(const SegmentNode& node)
    {
        const auto key = static_cast<std::uint32_t>(node.key);
        for (unsigned i = 0; i < SEGMENT_BYTES; ++i) {
            text_ += static_cast<char>(byteOf(key, i));
            if (text_.back() == '|') {
                return;
            }
        }
    }

    const CacheWalk& walk_;
    Carrier& carrier_;
    const RecordView<SegmentNode> segments_;
    std::size_t budget_; ///< no record of a trie is met twice
    std::vector<Level> levels_;
    /// Nodes whose text comes later: those of the deepest level last, the next one of each level behind the
    /// others.
    std::vector<const SegmentNode*> pending_;
    std::string text_;
    CanonicalText canonical_; ///< after the text
    bool endsComponent_ = false;
    const SegmentNode* base_ = nullptr; ///< the one text of the first level
    const SegmentNode* node_ = nullptr; ///< what was met last and not descended into
};

} // namespace Tessara::Keepsafe::Rbac::detail

#endif
