#include <keepsafe/cache/AccessCache.h>

#include <chrono>
#include <thread>
#include <utility>

#include <keepsafe/platform/config/installation.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/platform/status/status_codes.h>

#include "CoarseClock.h"
#include "RepeatedLines.h"
#include "tell.h"
#include "world_writable.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char TAG[] = "AccessCache";
constexpr std::chrono::milliseconds PAUSE_BEFORE_RETRY{1};
constexpr int MOST_RETRIES = 1000;

void warnIfWorldWritable(const std::string& directory)
{
    diagnostics::warnIfWorldWritable(TAG, directory);
    for (const std::string* const file :
         {&AccessCache::MANIFEST_FILE_NAME, &AccessCache::METADATA_FILE_NAME, &AccessCache::OBJECT_FILE_NAME,
          &AccessCache::NODE_FILE_NAME, &AccessCache::SEGMENT_FILE_NAME}) {
        std::string path = directory;
        path += '/';
        path += *file;
        diagnostics::warnIfWorldWritable(TAG, path);
    }
}

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
      look_(std::make_unique<Process::OnceInAWhile>()),
      repeatedLines_(std::make_unique<Process::RepeatedLines>())
{
    warnIfWorldWritable(manifest_.directory);
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

std::string AccessCache::unreadable(const char* reason) const
{
    return "Cache " + manifest_.ns.str() + " cannot be read: " + reason;
}

void AccessCache::throwUnreadable(const char* reason) const
{
    const std::string text = unreadable(reason);
    tell(TAG, text);
    throw ExplainedFailure(Status::CACHE_UNUSABLE, text);
}

void AccessCache::tell(const char* tag, std::string text) const
{
    if (diagnostics::admit(*repeatedLines_, text)) {
        diagnostics::TellAfterwards::write({Platform::LOG_LEVEL_ERROR, tag, std::move(text), nullptr});
    }
}

} // namespace Tessara::Keepsafe::Rbac
