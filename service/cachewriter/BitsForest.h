#ifndef KEEPSAFE_SANDBOX_CACHEWRITER_BITSFOREST_H
#define KEEPSAFE_SANDBOX_CACHEWRITER_BITSFOREST_H

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <keepsafe/cache/detail/records.h>

#include "cachewriter/Grants.h"

namespace keepsafe_sandbox {

/// Builds the file "nodes": role trees and the word trees that they refer to. Trees with equal content are
/// stored once. A tree's nodes lie together, and so does a role tree with those of its word trees that no
/// earlier one has brought along.
class BitsForest {
public:
    BitsForest();

    /// Offset of the role tree that says these grants; 0 when there are none.
    Tessara::Keepsafe::Rbac::NodeOffset roleTree(const Grants& grants);

    /// The file's records; the forest is empty afterwards.
    std::vector<Tessara::Keepsafe::Rbac::detail::BitsNode> take() && { return std::move(nodes_); }

private:
    /// Sorted keys with their values.
    using Entries = std::vector<std::pair<std::int32_t, std::uint32_t>>;

    Tessara::Keepsafe::Rbac::NodeOffset tree(const Entries& entries);

    std::vector<Tessara::Keepsafe::Rbac::detail::BitsNode> nodes_;
    /// The trees so far by the bytes of their entries. Role trees and word trees share it: two trees with the
    /// same entries are the same bytes whatever they stand for.
    std::unordered_map<std::string, Tessara::Keepsafe::Rbac::NodeOffset> trees_;
};

} // namespace keepsafe_sandbox

#endif
