#ifndef KEEPSAFE_SERVICE_CACHEWRITER_SEGMENTTRIE_H
#define KEEPSAFE_SERVICE_CACHEWRITER_SEGMENTTRIE_H

#include <string_view>
#include <vector>

#include <keepsafe/cache/detail/records.h>

namespace keepsafe_service {

/// A name and the object that it leads to.
struct TrieEntry {
    std::string_view text; ///< text form of the namespace
    Tessara::Keepsafe::Rbac::NodeOffset object;
};

/// Builds the file "segments" from names sorted by their bytes, no two the same. The first level's root, when
/// there is any name, is record 1.
///
/// INVARIANT: every level's tree is balanced and stored in one piece (see balanced_tree.h); the levels follow
/// each other depth first, so that levels of a single segment, such as the tail of most names, form a run of
/// adjacent records.
std::vector<Tessara::Keepsafe::Rbac::detail::SegmentNode>
buildSegmentTrie(const std::vector<TrieEntry>& entries);

} // namespace keepsafe_service

#endif
