#ifndef KEEPSAFE_SERVICE_CACHEWRITER_METADATA_H
#define KEEPSAFE_SERVICE_CACHEWRITER_METADATA_H

#include <cstddef>
#include <cstdint>
#include <string>

#include <keepsafe/cache/detail/records.h>

namespace keepsafe_service {

/// The file "metadata": what readers know of it, and what this writer keeps in the bytes that are its own.
/// docs/cache_format.md draws it.
struct Metadata {
    /// Readers never remap this file, so its size is fixed.
    static constexpr std::size_t SIZE = 64;
    static constexpr std::size_t WRITE_IN_PROGRESS_OFFSET = 20;

    std::uint64_t generation = 0; ///< number of completed writes
    bool writeInProgress = false;
    Tessara::Keepsafe::Rbac::NodeOffset segmentRoot = 0;
    // Records in use, the reserved first ones included; what follows in the files is left from larger
    // generations.
    std::uint32_t objectRecords = 0;
    std::uint32_t nodeRecords = 0;
    std::uint32_t segmentRecords = 0;
    std::uint32_t countRecords = 0;
    std::uint64_t accessDefinitions = 0;

    [[nodiscard]] std::string encode() const;

    /// Reads what a file holds. Files that this writer began and could not finish, the empty one included,
    /// give a header with the write in progress. Throws `PublishError` for a file of another writer or of a
    /// later format; `path` is for the message.
    static Metadata decode(const std::string& bytes, const std::string& path);
};

} // namespace keepsafe_service

#endif
