#ifndef KEEPSAFE_BENCH_PEERS_LIBRARY_H
#define KEEPSAFE_BENCH_PEERS_LIBRARY_H

#include "peers/Contender.h"

namespace keepsafe_bench {

constexpr const char* CHECK = "check";
constexpr const char* LOOKUP = "lookup";

/// `DiskAccessChecker::checkAccess(object)` of each question's checker.
ContenderKind libraryCheck();
/// The same through one reader of the cache for 1,000 checks in a row: the cost without the lock.
ContenderKind libraryLookup(Questions::Cache cache);

} // namespace keepsafe_bench

#endif
