#include <keepsafe/cache/AccessCache.h>

#include <chrono>
#include <thread>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "CoarseClock.h"
#include "fail.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr std::chrono::milliseconds PAUSE_BEFORE_RETRY{1};
constexpr int MOST_RETRIES = 1000;

} // namespace

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
      metadataMap_(manifest.directory + '/' + METADATA_FILE_NAME, &missingPages_),
      objectMap_(manifest.directory + '/' + OBJECT_FILE_NAME, &missingPages_),
      nodeMap_(manifest.directory + '/' + NODE_FILE_NAME, &missingPages_),
      segmentMap_(manifest.directory + '/' + SEGMENT_FILE_NAME, &missingPages_), metadata_(metadataMap_),
      objects_(objectMap_), nodes_(nodeMap_), segments_(segmentMap_),
      look_(std::make_unique<Process::OnceInAWhile>())
{
    prepareForForks();
    manifest_.ns.str(); // readers in several threads put it into log lines
}

AccessCache::~AccessCache() = default;

std::size_t AccessCache::managedObjectCount() const noexcept
{
    return objectMap_.size() / sizeof(ManagedObject);
}

AccessCache::Reader AccessCache::lock() const
{
    for (int retries = 0;; ++retries) {
        Reader reader(*this);
        if (refresh(reader)) {
            reader.captureViews();
            if (__builtin_expect(reader.isConsistent(), 1)) {
                return reader;
            }
        }
        reader.release();
        if (retries == MOST_RETRIES) {
            throwUnreadable("its files are replaced again and again");
        }
        std::this_thread::sleep_for(PAUSE_BEFORE_RETRY);
    }
}

void AccessCache::throwUnreadable(const char* reason) const
{
    diagnostics::fail(Status::CACHE_UNUSABLE, "AccessCache",
                      "Cache " + manifest_.ns.str() + " cannot be read: " + reason);
}

} // namespace Tessara::Keepsafe::Rbac
