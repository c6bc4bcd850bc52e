#include "cachewriter/metadata.h"

#include <cstring>
#include <string_view>
#include <type_traits>

#include "cachewriter/PublishError.h"

namespace keepsafe_service {

namespace {

constexpr std::string_view MAGIC = "KSACACHE";
constexpr std::uint32_t FORMAT_VERSION = 1;

/// Field by field as it lies in the file; `MetadataHeader` is its beginning.
struct Layout {
    char magic[8];
    std::uint32_t formatVersion;
    std::uint32_t generation[2]; ///< lower half first; not aligned for 64 bits
    std::uint8_t writeInProgress;
    std::uint8_t zero[7];
    std::uint32_t segmentRoot;
    std::uint32_t objectRecords;
    std::uint32_t nodeRecords;
    std::uint32_t segmentRecords;
    std::uint32_t countRecords;
    std::uint64_t accessDefinitions;
    std::uint8_t reserved[8];
};

using Tessara::Keepsafe::Rbac::detail::MetadataHeader;
static_assert(sizeof(Layout) == Metadata::SIZE && std::is_trivially_copyable_v<Layout>);
static_assert(offsetof(Layout, writeInProgress) == offsetof(MetadataHeader, writeInProgress));
static_assert(offsetof(Layout, writeInProgress) == Metadata::WRITE_IN_PROGRESS_OFFSET);
static_assert(offsetof(Layout, segmentRoot) == offsetof(MetadataHeader, segmentRoot));

} // namespace

std::string Metadata::encode() const
{
    Layout layout = {};
    std::memcpy(layout.magic, MAGIC.data(), sizeof layout.magic);
    layout.formatVersion = FORMAT_VERSION;
    layout.generation[0] = static_cast<std::uint32_t>(generation);
    layout.generation[1] = static_cast<std::uint32_t>(generation >> 32U);
    layout.writeInProgress = writeInProgress ? 1 : 0;
    layout.segmentRoot = segmentRoot;
    layout.objectRecords = objectRecords;
    layout.nodeRecords = nodeRecords;
    layout.segmentRecords = segmentRecords;
    layout.countRecords = countRecords;
    layout.accessDefinitions = accessDefinitions;
    return {reinterpret_cast<const char*>(&layout), sizeof layout};
}

Metadata Metadata::decode(const std::string& bytes, const std::string& path)
{
    Metadata metadata;
    metadata.writeInProgress = true;
    const std::string_view magic = std::string_view(bytes).substr(0, MAGIC.size());
    if (magic != MAGIC.substr(0, magic.size())) {
        throw PublishError(path + " was written by another program and is left as it is");
    }
    if (bytes.size() < SIZE) {
        return metadata;
    }
    Layout layout = {};
    std::memcpy(&layout, bytes.data(), sizeof layout);
    if (layout.formatVersion != FORMAT_VERSION) {
        throw PublishError(path + " has format version " + std::to_string(layout.formatVersion) +
                           ", this program writes version " + std::to_string(FORMAT_VERSION));
    }
    metadata.generation = layout.generation[0] | std::uint64_t{layout.generation[1]} << 32U;
    metadata.writeInProgress = layout.writeInProgress != 0;
    metadata.segmentRoot = layout.segmentRoot;
    metadata.objectRecords = layout.objectRecords;
    metadata.nodeRecords = layout.nodeRecords;
    metadata.segmentRecords = layout.segmentRecords;
    metadata.countRecords = layout.countRecords;
    metadata.accessDefinitions = layout.accessDefinitions;
    return metadata;
}

} // namespace keepsafe_service
