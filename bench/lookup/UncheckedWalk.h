#ifndef KEEPSAFE_BENCH_LOOKUP_UNCHECKEDWALK_H
#define KEEPSAFE_BENCH_LOOKUP_UNCHECKEDWALK_H

#include <string>

#include <keepsafe/cache/detail/MemoryMap.h>
#include <keepsafe/cache/detail/records.h>

#include "questions/Questions.h"

namespace keepsafe_bench {

/// The decision of `DiskAccessChecker` with every offset trusted: no bounds, no budget of steps. The
/// difference is the cost of the library's checks. Only for caches known to be good.
class UncheckedWalk {
public:
    explicit UncheckedWalk(const std::string& directory);

    [[nodiscard]] bool decide(const PeerQuestion& question) const;

private:
    using NodeOffset = Tessara::Keepsafe::Rbac::NodeOffset;
    using ManagedObject = Tessara::Keepsafe::Rbac::ManagedObject;
    using BitsNode = Tessara::Keepsafe::Rbac::detail::BitsNode;
    using SegmentNode = Tessara::Keepsafe::Rbac::detail::SegmentNode;

    [[nodiscard]] const SegmentNode* findSegment(NodeOffset root, std::int32_t key) const;
    [[nodiscard]] const BitsNode* findBitsNode(NodeOffset root, std::int32_t key) const;
    [[nodiscard]] bool anyRole(NodeOffset roleTree, const PeerCaller& caller) const;

    Tessara::Keepsafe::Rbac::detail::MemoryMap metadata_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap objects_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap nodes_;
    Tessara::Keepsafe::Rbac::detail::MemoryMap segments_;
    const ManagedObject* objectRecords_;
    const BitsNode* nodeRecords_;
    const SegmentNode* segmentRecords_;
    NodeOffset segmentRoot_;
};

} // namespace keepsafe_bench

#endif
