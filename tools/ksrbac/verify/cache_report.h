#ifndef KSRBAC_VERIFY_CACHE_REPORT_H
#define KSRBAC_VERIFY_CACHE_REPORT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "verify/Fault.h"

namespace ksrbac {

/// One record file. The reserved first record counts as a record, but neither as used nor as unreachable.
struct RecordFileReport {
    std::string name;
    std::uint64_t bytes = 0;
    std::size_t records = 0;
    std::size_t used = 0;         ///< records that something refers to
    std::size_t partialBytes = 0; ///< after the last whole record

    [[nodiscard]] std::size_t unreachable() const noexcept { return records == 0 ? 0 : records - 1 - used; }
};

/// What a walk through a whole cache found.
struct CacheReport {
    std::string directory;
    std::optional<std::string> namespaceText; ///< nothing: the manifest is damaged
    std::uint64_t metadataBytes = 0;
    bool writeInProgress = false;
    bool isWalked = false; ///< false: files are missing or too short to find the trees; no counts then
    RecordFileReport objects;
    RecordFileReport segments;
    RecordFileReport nodes;
    std::size_t roleTreeNodes = 0; ///< records of "nodes" reached as nodes of role trees
    std::size_t wordTreeNodes = 0;
    std::size_t trieDepth = 0;   ///< segments of the longest name
    std::size_t deepestTree = 0; ///< nodes on the longest way down within one search tree

    [[nodiscard]] std::vector<const RecordFileReport*> recordFiles() const
    {
        return {&objects, &segments, &nodes};
    }
    /// Share of unreachable records among all but the reserved ones; 0 when there is none.
    [[nodiscard]] double fragmentation() const noexcept;
};

/// Walks the cache in the directory under its shared file lock, and reports faults to `faults`. Throws
/// `InputError` when it cannot be read. `onObject` is called for each object that is reached, with the number
/// of records of "objects".
CacheReport examineCache(const std::string& directory, FaultList& faults,
                         const std::function<void(std::size_t records)>& onObject = nullptr);

} // namespace ksrbac

#endif
