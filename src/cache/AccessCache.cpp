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
    refresh(*reader.guard_);
    reader.captureViews();
    return reader;
}

void AccessCache::refresh(const FileLockGuard& guard) const
{
    const std::uint64_t writes = guard.writes();
    if (writes != 0 && writes == mappedAtWrites_.load(std::memory_order_acquire)) {
        return;
    }
    refreshMaps();
    if (writes != 0) {
        mappedAtWrites_.store(writes, std::memory_order_release);
    }
}

// How threads of one process share the mappings.
//
// A reader takes the lock before it uses a mapping. A file whose size has changed is mapped again under
// remapMutex_; the previous mapping is not released but retired, because other threads may be in the middle
// of a walk through it. It is released when all threads that held the lock at that time have left: a thread
// that takes the lock later finds only the new mapping, which was published before those holders were
// determined.

void AccessCache::refreshMaps() const
{
    const auto grown = [](const detail::MemoryMap& map) { return map.current_size() != map.size(); };
    for (detail::MemoryMap* map : {&objectMap_, &nodeMap_, &segmentMap_}) {
        if (grown(*map)) {
            const std::lock_guard<std::mutex> guard(remapMutex_);
            map->refresh();
            retiredUsers_ = fileLock_.otherHolders();
            hasRetired_.store(true);
        }
    }
    if (hasRetired_.load(std::memory_order_relaxed)) {
        releaseRetired();
    }
}

void AccessCache::releaseRetired() const noexcept
{
    const std::lock_guard<std::mutex> guard(remapMutex_);
    if (retiredUsers_.haveLeft()) {
        for (detail::MemoryMap* map : {&objectMap_, &nodeMap_, &segmentMap_}) {
            map->releaseRetired();
        }
        hasRetired_.store(false);
    }
}

} // namespace Tessara::Keepsafe::Rbac
