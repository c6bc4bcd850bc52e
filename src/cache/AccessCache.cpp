#include <keepsafe/cache/AccessCache.h>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/logmsg.h>

namespace Tessara::Keepsafe::Rbac {

const std::string AccessCache::MANIFEST_FILE_NAME = "manifest.json";
const std::string AccessCache::METADATA_FILE_NAME = "metadata";
const std::string AccessCache::OBJECT_FILE_NAME = "objects";
const std::string AccessCache::NODE_FILE_NAME = "nodes";
const std::string AccessCache::AD_COUNT_FILE_NAME = "counts";
const std::string AccessCache::SEGMENT_FILE_NAME = "segments";

std::string AccessCache::directoryOf(const std::string& cacheId)
{
    return Platform::installationRoot() + "/wmc/webserver/temp/access-caches/" + cacheId;
}

AccessCache::AccessCache(const Manifest& manifest)
    : manifest_(manifest), fileLock_(FileLockManager::instance().getLock(manifest.manifestFileName)),
      metadataMap_(manifest.directory + '/' + METADATA_FILE_NAME),
      objectMap_(manifest.directory + '/' + OBJECT_FILE_NAME),
      nodeMap_(manifest.directory + '/' + NODE_FILE_NAME),
      segmentMap_(manifest.directory + '/' + SEGMENT_FILE_NAME), metadata_(metadataMap_),
      objects_(objectMap_), nodes_(nodeMap_), segments_(segmentMap_)
{
    manifest_.ns.str(); // readers in several threads put it into log lines
}

AccessCache::~AccessCache() = default;

std::size_t AccessCache::managedObjectCount() const noexcept { return objects_.view().count(); }

AccessCache::Reader AccessCache::lock() const
{
    Reader reader(*this);
    refresh();
    reader.captureViews();
    return reader;
}

// How threads of one process share the mappings.
//
// A reader pins itself (readers_ + 1) before it looks at a mapping and unpins itself when it is done. A grown
// file is mapped anew under remapMutex_; the mapping before is not released but retired, since other threads
// may be in the middle of a walk through it. Whoever unpins last releases what was retired. That is safe
// because a retired mapping was unpublished before the last reader left: a thread that pins itself later can
// only find the new one. Pinning and the look at readers_ are sequentially consistent so that this order
// holds for every thread.

void AccessCache::refresh() const
{
    const auto grown = [](const detail::MemoryMap& map) { return map.current_size() != map.size(); };
    for (detail::MemoryMap* map : {&objectMap_, &nodeMap_, &segmentMap_}) {
        if (grown(*map)) {
            const std::lock_guard<std::mutex> guard(remapMutex_);
            map->refresh();
            hasRetired_.store(true);
        }
    }
}

void AccessCache::releaseRetired() const noexcept
{
    const std::lock_guard<std::mutex> guard(remapMutex_);
    if (readers_.load() == 0) {
        for (detail::MemoryMap* map : {&objectMap_, &nodeMap_, &segmentMap_}) {
            map->releaseRetired();
        }
        hasRetired_.store(false);
    }
}

AccessCache::ReaderPin::ReaderPin(const AccessCache& cache) noexcept : cache_(&cache)
{
    cache.readers_.fetch_add(1);
}

AccessCache::ReaderPin::ReaderPin(ReaderPin&& other) noexcept : cache_(other.cache_)
{
    other.cache_ = nullptr;
}

AccessCache::ReaderPin::~ReaderPin()
{
    if (cache_ != nullptr && cache_->readers_.fetch_sub(1) == 1 && cache_->hasRetired_.load()) {
        cache_->releaseRetired();
    }
}

} // namespace Tessara::Keepsafe::Rbac
