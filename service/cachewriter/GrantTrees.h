#ifndef KEEPSAFE_SERVICE_CACHEWRITER_GRANTTREES_H
#define KEEPSAFE_SERVICE_CACHEWRITER_GRANTTREES_H

#include <cstddef>
#include <cstdint>
#include <utility>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/Grants.h"
#include "cachewriter/SharedTrees.h"

namespace keepsafe_service {

/// The file "nodes": role trees, and the word trees that they refer to, as grants come and go. A role tree
/// uses each of its word trees once for each role that refers to it, however many objects use the role tree.
/// As long as nothing is released, a tree's nodes lie together, and so does a role tree with those of its
/// word trees that no earlier one has brought along.
class GrantTrees {
public:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;

    explicit GrantTrees(std::size_t maxRecords = SIZE_MAX) : nodes_("nodes", maxRecords) {}
    GrantTrees(const GrantTrees&) = delete;
    GrantTrees& operator=(const GrantTrees&) = delete;

    /// One use of a role tree.
    class Use {
    public:
        /// Throws as `hold` does.
        Use(GrantTrees& trees, const Grants& grants) : trees_(trees), root_(trees.hold(grants)) {}
        ~Use() { trees_.release(root_); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        /// Leaves the use with the caller, in exchange for the one of `other`, which must be one.
        NodeOffset exchange(NodeOffset other) noexcept { return std::exchange(root_, other); }

    private:
        GrantTrees& trees_;
        NodeOffset root_;
    };

    /// Begins one use of the role tree that says these grants; 0 when there are none. Throws as
    /// `RecordPool::reserve` does, with everything as it was.
    NodeOffset hold(const Grants& grants);
    /// Ends one use of a role tree; 0 is fine.
    void release(NodeOffset roleTree) noexcept;

    [[nodiscard]] const SharedTrees::Nodes& nodes() const noexcept { return nodes_; }
    void forgetChanges() noexcept { nodes_.forgetChanges(); }

private:
    SharedTrees::Held holdRoles(const Grants& grants, SharedTrees::Entries& roles);
    void releaseWords(const SharedTrees::Entries& roles) noexcept;

    SharedTrees::Nodes nodes_;
    // Two collections: equal bytes in a role tree and in a word tree mean different things.
    SharedTrees roleTrees_{nodes_};
    SharedTrees wordTrees_{nodes_};
};

} // namespace keepsafe_service

#endif
