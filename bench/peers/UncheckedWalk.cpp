#include "peers/UncheckedWalk.h"

namespace keepsafe_bench {

using Tessara::Keepsafe::Rbac::AccessCache;
using Tessara::Keepsafe::Rbac::detail::MetadataHeader;

UncheckedWalk::UncheckedWalk(const std::string& directory)
    : metadata_(directory + '/' + AccessCache::METADATA_FILE_NAME),
      objects_(directory + '/' + AccessCache::OBJECT_FILE_NAME),
      nodes_(directory + '/' + AccessCache::NODE_FILE_NAME),
      segments_(directory + '/' + AccessCache::SEGMENT_FILE_NAME),
      objectRecords_(reinterpret_cast<const ManagedObject*>(objects_.address())),
      nodeRecords_(reinterpret_cast<const BitsNode*>(nodes_.address())),
      segmentRecords_(reinterpret_cast<const SegmentNode*>(segments_.address())),
      segmentRoot_(reinterpret_cast<const MetadataHeader*>(metadata_.address())->segmentRoot)
{
}

} // namespace keepsafe_bench
