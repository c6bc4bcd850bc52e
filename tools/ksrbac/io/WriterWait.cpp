#include "io/WriterWait.h"

#include <string_view>

#include <keepsafe/cache/AccessCache.h>

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

constexpr long TOLD_AFTER_MILLISECONDS = 1000;

std::string withoutEnding(const std::string& text, const std::string& ending)
{
    const bool hasEnding =
        text.size() > ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
    return hasEnding ? text.substr(0, text.size() - ending.size()) : text;
}

/// What the lock protects: the cache's directory, or the document beside a lock file.
std::string protectedBy(const std::string& lockName)
{
    return withoutEnding(
        withoutEnding(lockName, '/' + Tessara::Keepsafe::Rbac::AccessCache::MANIFEST_FILE_NAME), ".lck");
}

} // namespace

WriterWait::WriterWait(Console& console, std::optional<std::size_t> limitSeconds)
    : console_(console), limitSeconds_(limitSeconds), before_(Platform::setLockWaitListener(this))
{
}

WriterWait::~WriterWait() { Platform::setLockWaitListener(before_); }

bool WriterWait::mayWait(const std::string& lockName, long waitedMilliseconds) noexcept
{
    const std::lock_guard<std::mutex> guard(mutex_);
    try {
        if (waitedMilliseconds >= TOLD_AFTER_MILLISECONDS && told_.count(lockName) == 0) {
            tell(lockName);
        }
        const bool isOver =
            limitSeconds_ && static_cast<std::size_t>(waitedMilliseconds) / 1000 >= *limitSeconds_;
        if (isOver && missed_.empty()) {
            missed_ = protectedBy(lockName);
        }
    } catch (...) {
        outputFailure_ = std::current_exception();
    }
    return missed_.empty() && !outputFailure_;
}

void WriterWait::tell(const std::string& lockName)
{
    told_.insert(lockName);
    console_.note("waiting for the writer of " + protectedBy(lockName));
}

void WriterWait::requireLocks() const
{
    if (outputFailure_) {
        std::rethrow_exception(outputFailure_);
    }
    if (!missed_.empty()) {
        throw CommandFailure({FailureKind::Cache, "waited " + std::to_string(*limitSeconds_) +
                                                      " s for the writer of " + missed_ +
                                                      ", who still holds its lock: try again, or wait longer "
                                                      "with --wait"});
    }
}

} // namespace ksrbac
