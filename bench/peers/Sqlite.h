#ifndef KEEPSAFE_BENCH_PEERS_SQLITE_H
#define KEEPSAFE_BENCH_PEERS_SQLITE_H

#include <cstdint>
#include <string>

#include "peers/Contender.h"

namespace keepsafe_bench {

/// The generated cache as a database of SQLite: one table without row ids, whose key, the name in text form,
/// leads to an `EffectiveRecord`. So one search of one tree answers, as with a covering index. The file is
/// opened as immutable, which avoids all locks, and mapped; all questions use one open transaction and one
/// prepared statement. A check takes one query, and one more for each level up to the nearest existing
/// object.
class SqliteDatabase {
public:
    /// `path` is a file that does not exist yet.
    SqliteDatabase(std::string path, std::uint64_t leaves);

    [[nodiscard]] ContenderKind kind() const;

private:
    std::string path_;
};

} // namespace keepsafe_bench

#endif
