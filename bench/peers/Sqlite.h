#ifndef KEEPSAFE_BENCH_PEERS_SQLITE_H
#define KEEPSAFE_BENCH_PEERS_SQLITE_H

#include <cstdint>
#include <string>

#include "peers/Contender.h"

namespace keepsafe_bench {

/// The generated cache as a database of SQLite: one table without row ids, whose key, the name in text form,
/// leads to an `EffectiveRecord`. So one search of one tree answers, as with a covering index. The file is
/// opened as immutable, which spares all locks, and mapped; all questions are put in one open transaction
/// through one prepared statement. A check asks once, or once more for each level up to the nearest object
/// that is there.
class SqliteDatabase {
public:
    /// `path` is a file that is not there yet.
    SqliteDatabase(std::string path, std::uint64_t leaves);

    [[nodiscard]] ContenderKind kind() const;

private:
    std::string path_;
};

} // namespace keepsafe_bench

#endif
