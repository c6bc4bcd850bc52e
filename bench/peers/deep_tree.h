#ifndef KEEPSAFE_BENCH_PEERS_DEEP_TREE_H
#define KEEPSAFE_BENCH_PEERS_DEEP_TREE_H

#include "cachewriter/CacheImage.h"
#include "questions/Questions.h"

namespace keepsafe_bench {

/// A cache whose leaves have names of `depth` components, at least 2, where every ancestor is an object that
/// grants something to its children: 16 chains below the root, 64 leaves at the end of each. Generated
/// caches have leaves of four components, and a walk down ends where names end.
keepsafe_service::CacheImage deepTree(unsigned depth);

/// One of its leaves.
Questions::DrawObject drawDeepLeaf(unsigned depth);

} // namespace keepsafe_bench

#endif
