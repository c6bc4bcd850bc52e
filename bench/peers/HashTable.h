#ifndef KEEPSAFE_BENCH_PEERS_HASHTABLE_H
#define KEEPSAFE_BENCH_PEERS_HASHTABLE_H

#include <cstdint>

#include "peers/Contender.h"

namespace keepsafe_bench {

/// The generated cache in a hash table by names in text form. Each entry leads to its parent's by a pointer,
/// so that one search is enough for an existing object. The ideal when nothing is shared: the memory of one
/// process, no writer, and gone when the process ends.
ContenderKind hashTable(std::uint64_t leaves);

} // namespace keepsafe_bench

#endif
