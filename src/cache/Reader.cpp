#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/ExplainedFailure.h>
#include <keepsafe/platform/status/status_codes.h>

#include "CacheWalk.h"
#include "ThreadCounts.h"
#include "recycled_storage.h"
#include "tell.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char READER_TAG[] = "AccessCache::Reader";
constexpr char CACHE_TAG[] = "AccessCache";

} // namespace

AccessCache::Reader::Reader(const AccessCache& cache)
    : cache_(cache), fileLock_(cache.fileLock_),
      guard_(std::allocate_shared<FileLockGuard>(RecyclingAllocator<FileLockGuard>(), fileLock_,
                                                 FileLock::SHARED, FileLock::WAIT_FOREVER,
                                                 FileLock::DEFAULT_INTERVAL))
{
    if (__builtin_expect(guard_->hasWaited(), 0)) {
        detail::ThreadCounts::add(detail::ThreadCounts::ofThisThread().waits);
    }
    captureHeader();
}

AccessCache::Reader::Reader(Reader&&) noexcept = default;
AccessCache::Reader::~Reader() = default;

void AccessCache::Reader::release() noexcept { guard_.reset(); }

void AccessCache::Reader::requireReadable()
{
    if (isReadable()) {
        return;
    }
    const bool isInterrupted = metadata_.count() != 0;
    release();
    if (!isInterrupted) {
        throwDamaged(METADATA_FILE_NAME, 0, "header missing");
    }
    fail(READER_TAG,
         "A previous write on cache " + cache_.manifest_.ns.str() + " was interrupted. Assuming invalid.");
}

bool AccessCache::Reader::writing_in_progress() const noexcept
{
    return metadata_.find(0)->writeInProgress != 0;
}

NodeOffset AccessCache::Reader::segmentRoot() const noexcept { return metadata_.find(0)->segmentRoot; }

const ManagedObject* AccessCache::Reader::lookup(const ObjectNamespace& ns) const
{
    const detail::CacheWalk walk(*this);
    const ManagedObject* const found = walk.lookup(ns.str());
    walk.requireWhole();
    return found;
}

void AccessCache::Reader::visitPath(const ObjectNamespace& ns,
                                    void (*visit)(void*, const ManagedObject&, bool), void* visitor) const
{
    const detail::CacheWalk walk(*this);
    walk.visitPath(ns.str(),
                   [&](const ManagedObject& object, bool isNamed) { visit(visitor, object, isNamed); });
    walk.requireWhole();
}

const ManagedObject& AccessCache::Reader::getManagedObject(NodeOffset offset) const
{
    return detail::CacheWalk(*this).managedObject(offset);
}

bool AccessCache::Reader::getOperationBit(const ManagedObject& object, std::int32_t roleId,
                                          const Operation& operation) const
{
    return get_operation_bit(object.ownBits, roleId, operation);
}

bool AccessCache::Reader::getChildOperationBit(const ManagedObject& object, std::int32_t roleId,
                                               const Operation& operation) const
{
    return get_operation_bit(object.childBits, roleId, operation);
}

bool AccessCache::Reader::getOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                          const Operation& operation) const
{
    const ManagedObject* object = lookup(ns);
    return object != nullptr && getOperationBit(*object, roleId, operation);
}

bool AccessCache::Reader::getChildOperationBit(const ObjectNamespace& ns, std::int32_t roleId,
                                               const Operation& operation) const
{
    const ManagedObject* object = lookup(ns);
    return object != nullptr && getChildOperationBit(*object, roleId, operation);
}

bool AccessCache::Reader::get_operation_bit(NodeOffset roleTree, std::int32_t roleId,
                                            const Operation& operation) const
{
    const detail::CacheWalk walk(*this);
    const detail::RoleAnswer answer = walk.roleHolds(roleTree, roleId, operation);
    walk.requireWhole();
    return walk.isGranted(answer);
}

void AccessCache::Reader::throwDamaged(const std::string& fileName, NodeOffset offset, const char* what) const
{
    fail(READER_TAG, "Cache " + cache_.manifest_.ns.str() + " is damaged: " + fileName + " at offset " +
                         std::to_string(offset) + ": " + what);
}

void AccessCache::Reader::throwUnreadable(const char* reason) const
{
    fail(CACHE_TAG, cache_.unreadable(reason));
}

/// Logs nothing while the lock is held: a log that is stuck must not keep the writer out.
void AccessCache::Reader::fail(const char* tag, std::string text) const
{
    std::string line = text;
    if (guard_ == nullptr) {
        cache_.tell(tag, std::move(line));
    } else if (diagnostics::admit(*cache_.repeatedLines_, line)) {
        tellWhenReleased(tag, std::move(line));
    }
    throw ExplainedFailure(Status::CACHE_UNUSABLE, std::move(text));
}

/// The lock, and the lines that are logged when it has been released. More lines than that are left out.
struct __attribute__((visibility("hidden"))) AccessCache::Reader::Untold {
    struct Release {
        std::shared_ptr<Untold> untold;
        void operator()(const FileLockGuard* /*guard*/) const noexcept { untold->release(); }
    };
    static constexpr std::size_t MOST_LINES = 64;

    void release() noexcept
    {
        guard.reset();
        for (diagnostics::Line& line : lines) {
            diagnostics::TellAfterwards::write(std::move(line));
        }
    }

    std::shared_ptr<FileLockGuard> guard;
    std::vector<diagnostics::Line> lines;
};

void AccessCache::Reader::tellWhenReleased(const char* tag, std::string text) const
{
    auto* release = std::get_deleter<Untold::Release>(guard_);
    if (release == nullptr) {
        const auto untold = std::make_shared<Untold>();
        std::shared_ptr<FileLockGuard> both(guard_.get(), Untold::Release{untold});
        untold->guard = std::move(guard_);
        guard_ = std::move(both);
        release = std::get_deleter<Untold::Release>(guard_);
    }
    std::vector<diagnostics::Line>& lines = release->untold->lines;
    if (lines.size() < Untold::MOST_LINES) {
        lines.push_back({Platform::LOG_LEVEL_ERROR, tag, std::move(text), nullptr});
    }
}

} // namespace Tessara::Keepsafe::Rbac
