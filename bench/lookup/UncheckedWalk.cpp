#include "lookup/UncheckedWalk.h"

#include <array>

#include <keepsafe/cache/detail/segment_iterator.h>

namespace keepsafe_bench {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::detail::MetadataHeader;

UncheckedWalk::UncheckedWalk(const std::string& directory)
    : metadata_(directory + '/' + AccessCache::METADATA_FILE_NAME),
      objects_(directory + '/' + AccessCache::OBJECT_FILE_NAME),
      nodes_(directory + '/' + AccessCache::NODE_FILE_NAME),
      segments_(directory + '/' + AccessCache::SEGMENT_FILE_NAME),
      objectRecords_(reinterpret_cast<const ManagedObject*>(objects_.address())),
      nodeRecords_(reinterpret_cast<const BitsNode*>(nodes_.address())),
      segmentRecords_(reinterpret_cast<const SegmentNode*>(segments_.address())),
      segmentRoot_(reinterpret_cast<const MetadataHeader*>(metadata_.address())->segmentRoot)
{
}

__attribute__((noinline)) const UncheckedWalk::SegmentNode* UncheckedWalk::findSegment(NodeOffset root,
                                                                                       std::int32_t key) const
{
    for (NodeOffset offset = root; offset != 0;) {
        const SegmentNode* node = segmentRecords_ + offset / sizeof(SegmentNode);
        if (node->key == key) {
            return node;
        }
        offset = node->key > key ? node->left : node->right;
    }
    return nullptr;
}

__attribute__((noinline)) const UncheckedWalk::BitsNode* UncheckedWalk::findBitsNode(NodeOffset root,
                                                                                     std::int32_t key) const
{
    for (NodeOffset offset = root; offset != 0;) {
        const BitsNode* node = nodeRecords_ + offset / sizeof(BitsNode);
        if (node->key == key) {
            return node;
        }
        offset = node->key > key ? node->left : node->right;
    }
    return nullptr;
}

bool UncheckedWalk::anyRole(NodeOffset roleTree, const PeerCaller& caller) const
{
    for (const int role : caller.roles) {
        if (const BitsNode* roleNode = findBitsNode(roleTree, role)) {
            const BitsNode* word = findBitsNode(roleNode->value, caller.operation.wordIndex());
            if (word != nullptr && (word->value & caller.operation.bitMask()) != 0) {
                return true;
            }
        }
    }
    return false;
}

bool UncheckedWalk::decide(const PeerQuestion& question) const
{
    std::array<const ManagedObject*, 64> ancestors;
    std::size_t count = 0;
    const ManagedObject* named = nullptr;
    auto [segment, end] = Tessara::Keepsafe::Rbac::detail::namespaceSegments(question.object);
    for (NodeOffset root = segmentRoot_; root != 0 && segment != end;) {
        const SegmentNode* node = findSegment(root, *segment);
        if (node == nullptr) {
            break;
        }
        const bool endsComponent = segment.endsComponent();
        ++segment;
        if (endsComponent && node->object != 0) {
            const ManagedObject* object = objectRecords_ + node->object / sizeof(ManagedObject);
            if (segment == end) {
                named = object;
                break;
            }
            if (object->inherit == 0) {
                count = 0;
            }
            ancestors[count++] = object;
        }
        root = node->nextLevel;
    }
    if (named != nullptr) {
        if (anyRole(named->ownBits, *question.caller)) {
            return true;
        }
        if (named->inherit == 0) {
            return false;
        }
    }
    while (count > 0) {
        if (anyRole(ancestors[--count]->childBits, *question.caller)) {
            return true;
        }
    }
    return false;
}

} // namespace keepsafe_bench
