#ifndef KEEPSAFE_CACHE_DETAIL_RECORDS_H
#define KEEPSAFE_CACHE_DETAIL_RECORDS_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

/// \file
/// The records of the access cache's binary files, as they lie in the files: little-endian, keys
/// signed. A reference to a record is a byte offset into the file that holds it; an offset into a record
/// refers to that record, and 0 to no record, so the first record of a file is never used.

namespace Tessara::Keepsafe::Rbac {

/// A byte offset into one of the record files; 0 means no target.
using NodeOffset = std::uint32_t;
/// 32 permission bits.
using NodeBits = std::uint32_t;

/// File "objects": what is granted on one object.
struct ManagedObject {
    std::uint8_t writerPrivate[4];
    std::uint8_t inherit; ///< non-zero: the grants of the ancestors on their children reach this object
    std::uint8_t unused[3];
    NodeOffset ownBits;   ///< in "nodes": role tree of the bits on the object itself
    NodeOffset childBits; ///< in "nodes": role tree of the bits on everything below it
};

namespace detail {

/// File "metadata": the part of the header that readers know.
struct MetadataHeader {
    std::uint8_t writerPrivate[20];
    std::uint8_t writeInProgress; ///< non-zero during a write, and after an interrupted one
    std::uint8_t unused[7];
    NodeOffset segmentRoot; ///< in "segments": root of the first level; 0: the cache holds no object
};

/// File "segments": a node of a search tree over the segments of one level of the trie.
struct SegmentNode {
    std::uint8_t writerPrivate[8];
    NodeOffset left;      ///< smaller keys of the same level
    NodeOffset right;     ///< larger keys of the same level
    std::int32_t key;     ///< segment value
    NodeOffset object;    ///< in "objects": the object whose name ends with this segment
    NodeOffset nextLevel; ///< root of the level of the segments that follow
    std::uint8_t unused[4];
};

/// File "nodes": a node of a role tree or of a word tree.
template <typename Key, typename Value>
struct TreeNode {
    std::uint8_t writerPrivate[8];
    NodeOffset left;
    NodeOffset right;
    Key key;     ///< role id, or index of a word of 32 bits
    Value value; ///< the role's word tree (a `NodeOffset`), or the word
};

using BitsNode = TreeNode<std::int32_t, NodeBits>;

static_assert(sizeof(ManagedObject) == 16 && std::is_standard_layout_v<ManagedObject>);
static_assert(offsetof(ManagedObject, inherit) == 4 && offsetof(ManagedObject, childBits) == 12);
static_assert(sizeof(MetadataHeader) == 32 && std::is_standard_layout_v<MetadataHeader>);
static_assert(offsetof(MetadataHeader, writeInProgress) == 20 && offsetof(MetadataHeader, segmentRoot) == 28);
static_assert(sizeof(SegmentNode) == 32 && std::is_standard_layout_v<SegmentNode>);
static_assert(offsetof(SegmentNode, key) == 16 && offsetof(SegmentNode, nextLevel) == 24);
static_assert(sizeof(BitsNode) == 24 && std::is_standard_layout_v<BitsNode>);
static_assert(offsetof(BitsNode, key) == 16 && offsetof(BitsNode, value) == 20);
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "records are used in place, in the host's byte order");

} // namespace detail
} // namespace Tessara::Keepsafe::Rbac

#endif
