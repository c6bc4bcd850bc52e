#ifndef KEEPSAFE_SERVICE_CACHEWRITER_LIVE_NAMETRIE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_LIVE_NAMETRIE_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/live/LevelTree.h"

namespace keepsafe_service {

/// The file "segments" as names come and go: a trie of the segments of names in their text form.
///
/// INVARIANT: every record that is taken lies on the way to a name.
class NameTrie {
public:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;

    explicit NameTrie(std::size_t maxRecords = SIZE_MAX) : nodes_("segments", maxRecords) {}
    NameTrie(const NameTrie&) = delete;
    NameTrie& operator=(const NameTrie&) = delete;

    /// The object that the name leads to; 0: none.
    [[nodiscard]] NodeOffset find(const std::string& text) const noexcept;

    /// Makes room for a name, so that `insert` cannot fail. Throws as `RecordPool::reserve` does.
    void reserveFor(const std::string& text);
    /// Adds a name; one that is known leads to the object from now on.
    void insert(const std::string& text, NodeOffset object) noexcept;
    /// Removes a name and what nothing else needs of the way to it; returns its object, 0 for an unknown
    /// name.
    NodeOffset remove(const std::string& text);

    /// Root of the first level.
    [[nodiscard]] NodeOffset root() const noexcept { return root_; }
    [[nodiscard]] const LevelTree::Nodes& nodes() const noexcept { return nodes_; }
    void forgetChanges() noexcept { nodes_.forgetChanges(); }

private:
    /// The root of the level that follows the node; of the first one when `node` is 0.
    [[nodiscard]] NodeOffset level(NodeOffset node) const noexcept
    {
        return node == 0 ? root_ : nodes_[node].nextLevel;
    }
    void setLevel(NodeOffset node, NodeOffset levelRoot) noexcept;

    LevelTree::Nodes nodes_;
    LevelTree levels_{nodes_};
    NodeOffset root_ = 0;
};

} // namespace keepsafe_service

#endif
