#ifndef KEEPSAFE_BENCH_PEERS_LMDB_H
#define KEEPSAFE_BENCH_PEERS_LMDB_H

#include <cstdint>
#include <string>

#include "peers/Contender.h"

namespace keepsafe_bench {

/// The generated cache as a database of LMDB: names in text form lead to an `EffectiveRecord`. Each check is
/// a separate read transaction with one get, or with one more for each level up to the nearest existing
/// object. Written in the order of keys, so its pages are full; read through LMDB's map, nothing is copied.
class LmdbDatabase {
public:
    /// `path` is a file that does not exist yet.
    LmdbDatabase(std::string path, std::uint64_t leaves);

    /// A transaction is begun and aborted for each check.
    [[nodiscard]] ContenderKind beginning() const;
    /// One transaction is kept, reset after each check and renewed for the next: a thread that asks often can
    /// save the allocation this way.
    [[nodiscard]] ContenderKind renewing() const;

private:
    class Environment;
    class Beginning;
    class Renewing;

    std::string path_;
};

} // namespace keepsafe_bench

#endif
