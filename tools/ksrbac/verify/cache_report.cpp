#include "verify/cache_report.h"

#include <algorithm>
#include <cstddef>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/detail/ReadOnlyBlockAllocator.h>
#include <keepsafe/cache/detail/records.h>

#include "verify/BitsWalks.h"
#include "verify/CacheFiles.h"
#include "verify/ObjectCheck.h"
#include "verify/SegmentWalk.h"

namespace ksrbac {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::ManagedObject;
using Tessara::Keepsafe::Rbac::detail::BitsNode;
using Tessara::Keepsafe::Rbac::detail::MetadataHeader;
using Tessara::Keepsafe::Rbac::detail::RecordView;
using Tessara::Keepsafe::Rbac::detail::SegmentNode;

namespace {

template <typename Record>
RecordFileReport describeFile(const std::string& name, const CacheFiles::Map& map)
{
    RecordFileReport report;
    report.name = name;
    report.bytes = map.size();
    report.records = map.size() / sizeof(Record);
    report.partialBytes = map.size() % sizeof(Record);
    return report;
}

/// The header, or null and a fault when it is cut short. A flag that is there is looked at in any case.
const MetadataHeader* checkHeader(const CacheFiles::Map& map, CacheReport& report, FaultList& faults)
{
    constexpr std::size_t flagByte = offsetof(MetadataHeader, writeInProgress);
    report.metadataBytes = map.size();
    report.writeInProgress = map.size() > flagByte && map.address()[flagByte] != std::byte{0};
    if (report.writeInProgress) {
        faults.add([&] {
            return Fault{AccessCache::METADATA_FILE_NAME, flagByte,
                         "write in progress: the last write was interrupted", ""};
        });
    }
    const MetadataHeader* header = RecordView<MetadataHeader>(map.region()).find(0);
    if (header == nullptr) {
        const std::string what =
            "the header of " + std::to_string(sizeof(MetadataHeader)) + " bytes is cut short";
        faults.add([&] { return Fault{AccessCache::METADATA_FILE_NAME, map.size(), what, ""}; });
    }
    return header;
}

void walkTrees(const CacheFiles& files, const MetadataHeader& header, CacheReport& report, FaultList& faults,
               const std::function<void(std::size_t records)>& onObject)
{
    const RecordView<BitsNode> nodes(files.nodes()->region());
    WordWalk words(nodes, AccessCache::NODE_FILE_NAME.c_str(), faults);
    RoleWalk roles(nodes, AccessCache::NODE_FILE_NAME.c_str(), faults, words);
    ObjectCheck objects(RecordView<ManagedObject>(files.objects()->region()),
                        AccessCache::OBJECT_FILE_NAME.c_str(), roles, onObject);
    SegmentWalk segments(RecordView<SegmentNode>(files.segments()->region()),
                         AccessCache::SEGMENT_FILE_NAME.c_str(), faults, objects);
    segments.walkFrom({header.segmentRoot, AccessCache::METADATA_FILE_NAME.c_str(),
                       offsetof(MetadataHeader, segmentRoot), "root of the segments"});
    report.objects.used = objects.reachedCount();
    report.segments.used = segments.reachedCount();
    report.roleTreeNodes = roles.reachedCount();
    report.wordTreeNodes = words.reachedCount();
    report.nodes.used = RoleWalk::reachedByEither(roles, words);
    report.trieDepth = segments.deepestLevel();
    report.deepestTree = std::max({segments.deepestTree(), roles.deepestTree(), words.deepestTree()});
    report.isWalked = true;
}

} // namespace

double CacheReport::fragmentation() const noexcept
{
    std::size_t records = 0;
    std::size_t unreachable = 0;
    for (const RecordFileReport* file : {&objects, &segments, &nodes}) {
        records += file->unreachable() + file->used;
        unreachable += file->unreachable();
    }
    return records == 0 ? 0.0 : static_cast<double>(unreachable) / static_cast<double>(records);
}

CacheReport examineCache(const std::string& directory, FaultList& faults,
                         const std::function<void(std::size_t records)>& onObject)
{
    CacheReport report;
    report.directory = directory;
    const CacheFiles files(directory, faults);
    report.namespaceText = files.namespaceText();
    const MetadataHeader* header = nullptr;
    if (files.metadata()) {
        header = checkHeader(*files.metadata(), report, faults);
    }
    if (header != nullptr && files.objects() && files.nodes() && files.segments()) {
        report.objects = describeFile<ManagedObject>(AccessCache::OBJECT_FILE_NAME, *files.objects());
        report.segments = describeFile<SegmentNode>(AccessCache::SEGMENT_FILE_NAME, *files.segments());
        report.nodes = describeFile<BitsNode>(AccessCache::NODE_FILE_NAME, *files.nodes());
        walkTrees(files, *header, report, faults, onObject);
    }
    return report;
}

} // namespace ksrbac
