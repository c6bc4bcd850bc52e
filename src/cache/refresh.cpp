// Whether the mappings are those of the cache's files, and how they become so.
//
// A reader takes the lock before it uses a mapping. A file whose size has changed is mapped again under
// remapMutex; the previous mapping is not released but retired, because other threads may be in the middle of
// a walk through it. It is released when all threads that held the lock at that time have left: a thread that
// takes the lock later finds only the new mapping, which was published before those holders were determined.
//
// A file that is no longer the one at its path is opened again in the same way, and so are all files when
// pages were missing or a descriptor has become someone else's. The lock must then be that of the manifest at
// the path: if the manifest was replaced, too, the old one's lock does not keep the writer out of the new
// files. Other threads may capture the mappings meanwhile: `renewals_` tells them that some are of other
// files.

#include <array>
#include <chrono>

#include <keepsafe/cache/AccessCache.h>

#include "CoarseClock.h"
#include "ForkHandlers.h"
#include "ThreadCounts.h"
#include "tell.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Change = detail::MemoryMap::Change;

/// Half of the time within which a reader has to notice that files are others, because the clock is coarse.
constexpr std::chrono::milliseconds LOOK_INTERVAL{5};

void countRefresh() noexcept
{
    detail::ThreadCounts& counts = detail::ThreadCounts::ofThisThread();
    detail::ThreadCounts::add(counts.refreshes);
}

/// Held while mappings of any cache are replaced or released, which is rare.
std::mutex remapMutex;
const Process::HeldAcrossFork<remapMutex> heldAcrossFork;

} // namespace

bool AccessCache::refresh(Reader& reader) const
{
    const std::uint64_t writes = reader.guard_->writes();
    const bool isMapped = writes != 0 && writes == mappedAtWrites_.load(std::memory_order_acquire);
    if (__builtin_expect(isMapped && reader.isReadable() && !pagesAreMissing(reader) && reader.isConsistent(),
                         1)) {
        return true;
    }
    return refreshSlowly(reader, writes);
}

/// Not inlined, so that the check above needs no stack frame.
__attribute__((noinline)) bool AccessCache::refreshSlowly(Reader& reader, std::uint64_t writes) const
{
    // Nothing is logged while the lock is held: a log that is stuck must not keep the writer out.
    const diagnostics::TellAfterwards tellAfterwards(repeatedLines_.get());
    try {
        const bool lookIsDue = mustRenewAll_ || (writes == 0 && look_->isDue(LOOK_INTERVAL));
        if ((lookIsDue || !reader.isReadable() || pagesAreMissing(reader)) && !lookAtFiles(reader)) {
            return false;
        }
        reader.requireReadable();
        if (!refreshSizes()) {
            return false;
        }
    } catch (...) {
        reader.release();
        throw;
    }
    if (writes != 0) {
        mappedAtWrites_.store(writes, std::memory_order_release);
    }
    return true;
}

bool AccessCache::pagesAreMissing(const Reader& reader) const noexcept
{
    return reader.missingPages_ != mappedAtMissingPages_.load(std::memory_order_acquire);
}

bool AccessCache::lookAtFiles(Reader& reader) const
{
    const Look look = distrustUnlessRenewed(reader);
    if (look == Look::LockIsOutdated) {
        look_->makeDue();
        return false;
    }
    if (look != Look::FilesAreCurrent) {
        reader.release();
        throwUnreadable(look == Look::FilesAreGone ? "its files are gone"
                                                   : "its files are those of another namespace");
    }
    reader.captureHeader();
    return !pagesAreMissing(reader);
}

/// After a look that failed, nobody answers from the mappings before one has succeeded: the files may be
/// others.
AccessCache::Look AccessCache::distrustUnlessRenewed(const Reader& reader) const
{
    const auto distrust = [this] {
        mustRenewAll_ = true;
        renewals_.fetch_or(1);
    };
    try {
        const Look look = renewFiles(reader);
        if (look == Look::FilesAreGone || look == Look::NamespaceIsAnother) {
            distrust();
        }
        return look;
    } catch (...) {
        distrust();
        throw;
    }
}

std::array<detail::MemoryMap*, 4> AccessCache::maps() const noexcept
{
    return {&metadataMap_, &objectMap_, &nodeMap_, &segmentMap_};
}

AccessCache::Look AccessCache::renewFiles(const Reader& reader) const
{
    bool isReplaced = false;
    bool isChanged = mustRenewAll_ || missingPages_ != mappedAtMissingPages_;
    for (const detail::MemoryMap* map : maps()) {
        const Change change = map->changeAtPath();
        if (change == Change::Gone) {
            return Look::FilesAreGone;
        }
        isReplaced = isReplaced || change == Change::Replaced;
        isChanged = isChanged || change != Change::None;
    }
    if (isReplaced && !reader.guard_->isCurrent()) {
        return Look::LockIsOutdated;
    }
    if (isReplaced && !(Manifest(manifest_.cacheId, manifest_.directory).ns == manifest_.ns)) {
        return Look::NamespaceIsAnother;
    }
    if (isChanged) {
        reopenChanged();
    }
    return isReplaced && !reader.guard_->isCurrent() ? Look::LockIsOutdated : Look::FilesAreCurrent;
}

void AccessCache::reopenChanged() const
{
    const std::lock_guard<std::mutex> guard(remapMutex);
    const std::uint64_t missingPages = missingPages_.load();
    const bool all = mustRenewAll_ || missingPages != mappedAtMissingPages_.load();
    renewals_.fetch_or(1);
    for (detail::MemoryMap* map : maps()) {
        if (all || map->changeAtPath() != Change::None) {
            map->reopen();
            retireMappings();
        }
    }
    countRefresh();
    mustRenewAll_ = false;
    ++renewals_;
    mappedAtMissingPages_.store(missingPages, std::memory_order_release);
}

/// By the descriptors. False: one of them is no longer that of the file that was opened.
bool AccessCache::refreshSizes() const
{
    for (detail::MemoryMap* map : {&objectMap_, &nodeMap_, &segmentMap_}) {
        if (map->change() == Change::None) {
            continue;
        }
        const std::lock_guard<std::mutex> guard(remapMutex);
        if (map->change() == Change::Replaced) { // asked again: another thread may have been here
            mustRenewAll_ = true;
            return false;
        }
        map->refresh();
        countRefresh();
        retireMappings();
    }
    if (hasRetired_.load(std::memory_order_relaxed)) {
        releaseRetired();
    }
    return true;
}

void AccessCache::retireMappings() const
{
    retiredUsers_ = fileLock_.otherHolders();
    hasRetired_.store(true);
}

void AccessCache::releaseRetired() const noexcept
{
    const std::lock_guard<std::mutex> guard(remapMutex);
    if (retiredUsers_.haveLeft()) {
        for (detail::MemoryMap* map : maps()) {
            map->releaseRetired();
        }
        hasRetired_.store(false);
    }
}

} // namespace Tessara::Keepsafe::Rbac
