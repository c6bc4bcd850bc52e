#ifndef KEEPSAFE_BENCH_PEERS_UNCHECKEDWALK_H
#define KEEPSAFE_BENCH_PEERS_UNCHECKEDWALK_H

#include <array>
#include <string>

#include <keepsafe/cache/detail/MemoryMap.h>
#include <keepsafe/cache/detail/records.h>
#include <keepsafe/cache/detail/segment_iterator.h>

#include "questions/Questions.h"

namespace keepsafe_bench {

/// The decision of `DiskAccessChecker` with every offset trusted: no bounds, no budget of steps. The
/// difference is the cost of the library's checks. Only for caches known to be good.
class UncheckedWalk {
public:
    /// What has to be known before a record can be read.
    enum class Reached {
        ByName, ///< a record of the trie or an object: the record before it
        ByRole  ///< a record of a role tree: nothing but the object, which many roles are searched for in
    };

    explicit UncheckedWalk(const std::string& directory);

    [[nodiscard]] bool decide(const PeerQuestion& question) const
    {
        return decide(question, [](const void* /*record*/, Reached /*reached*/) {});
    }

    /// Calls `meet(const void* record, Reached)` for each record that is read, in that order.
    template <typename Meet>
    [[nodiscard]] bool decide(const PeerQuestion& question, const Meet& meet) const;

private:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    using ManagedObject = Tessara::Keepsafe::Rbac::ManagedObject;
    using BitsNode = Tessara::Keepsafe::Rbac::detail::BitsNode;
    using SegmentNode = Tessara::Keepsafe::Rbac::detail::SegmentNode;

    /// The record with that key in the tree at `root`, or null.
    template <typename Record, typename Meet>
    __attribute__((noinline)) static const Record* find(const Record* records, NodeOffset root,
                                                        std::int32_t key, const Meet& meet);
    template <typename Meet>
    [[nodiscard]] bool anyRole(NodeOffset roleTree, const PeerCaller& caller, const Meet& meet) const;

    Tessara::Keepsafe::Rbac::detail::MemoryMap metadata_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap objects_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap nodes_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap segments_;
    const ManagedObject* objectRecords_;
    const BitsNode* nodeRecords_;
    const SegmentNode* segmentRecords_;
    NodeOffset segmentRoot_;
};

template <typename Record, typename Meet>
const Record* UncheckedWalk::find(const Record* records, NodeOffset root, std::int32_t key, const Meet& meet)
{
    for (NodeOffset offset = root; offset != 0;) {
        const Record* const node = records + offset / sizeof(Record);
        meet(node);
        if (node->key == key) {
            return node;
        }
        offset = node->key > key ? node->left : node->right;
    }
    return nullptr;
}

template <typename Meet>
bool UncheckedWalk::anyRole(NodeOffset roleTree, const PeerCaller& caller, const Meet& meet) const
{
    const auto meetNode = [&](const BitsNode* node) { meet(node, Reached::ByRole); };
    for (const int role : caller.roles) {
        if (const BitsNode* roleNode = find(nodeRecords_, roleTree, role, meetNode)) {
            const BitsNode* word =
                find(nodeRecords_, roleNode->value, caller.operation.wordIndex(), meetNode);
            if (word != nullptr && (word->value & caller.operation.bitMask()) != 0) {
                return true;
            }
        }
    }
    return false;
}

template <typename Meet>
bool UncheckedWalk::decide(const PeerQuestion& question, const Meet& meet) const
{
    const auto meetNode = [&](const SegmentNode* node) { meet(node, Reached::ByName); };
    std::array<const ManagedObject*, 64> ancestors;
    std::size_t count = 0;
    const ManagedObject* named = nullptr;
    auto [segment, end] = Tessara::Keepsafe::Rbac::detail::namespaceSegments(question.object);
    for (NodeOffset root = segmentRoot_; root != 0 && segment != end;) {
        const SegmentNode* node = find(segmentRecords_, root, *segment, meetNode);
        if (node == nullptr) {
            break;
        }
        const bool endsComponent = segment.endsComponent();
        ++segment;
        if (endsComponent && node->object != 0) {
            const ManagedObject* object = objectRecords_ + node->object / sizeof(ManagedObject);
            meet(object, Reached::ByName);
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
        if (anyRole(named->ownBits, *question.caller, meet)) {
            return true;
        }
        if (named->inherit == 0) {
            return false;
        }
    }
    while (count > 0) {
        if (anyRole(ancestors[--count]->childBits, *question.caller, meet)) {
            return true;
        }
    }
    return false;
}

} // namespace keepsafe_bench

#endif
