#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/detail/records.h>
#include <keepsafe/platform/filelock/FileLock.h>
#include <keepsafe/rbac/questions/cache_state.h>

#include "cli/cache_location.h"
#include "doctor/Examination.h"
#include "doctor/HeardLog.h"
#include "exit_status.h"
#include "output/utc_time.h"
#include "read_file.h"
#include "verify/CacheFiles.h"
#include "verify/Fault.h"

namespace ksrbac {

namespace Process = Tessara::Keepsafe::Process;
namespace Rbac = Tessara::Keepsafe::Rbac;

using Rbac::AccessCache;

namespace {

constexpr char WHAT[] = "access cache";
constexpr char STRUCTURE[] = "cache structure";
constexpr char STATE[] = "cache state";
constexpr char PUBLISH[] = "let the service write it again: start ksrbacd, or restart it";

/// The caches of the host.
std::vector<std::string> cachesOfHost()
{
    std::vector<std::string> ids;
    std::error_code none;
    const std::string folder = AccessCache::directoryOf("");
    for (std::filesystem::directory_iterator entry(folder, none), end; !none && entry != end;
         entry.increment(none)) {
        if (entry->is_directory(none)) {
            ids.push_back(entry->path().filename().string());
        }
    }
    std::sort(ids.begin(), ids.end());
    return ids;
}

/// Which cache is examined: the one of the arguments, the one that the service names, or the only one.
std::optional<std::string> chosenDirectory(const Examination& examination)
{
    if (examination.scope.cache) {
        return locateCache(*examination.scope.cache).directory;
    }
    if (examination.serviceCache) {
        return locateCache(*examination.serviceCache).directory;
    }
    const std::vector<std::string> caches = cachesOfHost();
    return caches.size() == 1 ? std::optional<std::string>(AccessCache::directoryOf(caches.front()))
                              : std::nullopt;
}

/// 0, or why this user cannot read one of the files, which is then in `path`.
int whyUnreadable(const std::string& directory, std::string& path)
{
    for (const std::string& file :
         {AccessCache::MANIFEST_FILE_NAME, AccessCache::METADATA_FILE_NAME, AccessCache::OBJECT_FILE_NAME,
          AccessCache::NODE_FILE_NAME, AccessCache::SEGMENT_FILE_NAME}) {
        path.assign(directory).append(1, '/').append(file);
        if (faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0) {
            return errno;
        }
    }
    return 0;
}

/// Why the header's root of the trie, or the file that it leads into, cannot be; empty if it can.
std::string faultOfRoot(const CacheFiles& files)
{
    if (!files.metadata() || !files.segments()) {
        return ""; // a fault of its own
    }
    const auto* const header =
        Rbac::detail::RecordView<Rbac::detail::MetadataHeader>(files.metadata()->region()).find(0);
    if (header == nullptr) {
        return "the header in metadata is cut short";
    }
    return header->segmentRoot < files.segments()->size() || header->segmentRoot == 0
               ? ""
               : "the root of the names is beyond the end of segments";
}

void describeStructure(const std::string& directory, Examination& examination)
{
    FaultList faults(1);
    const CacheFiles files(directory, faults);
    std::string fault = faultOfRoot(files);
    if (faults.count() != 0) {
        fault = faults.kept().front().file + ": " + faults.kept().front().what;
    }
    if (!fault.empty()) {
        examination.fail(STRUCTURE, fault, std::string(PUBLISH) + "; 'ksrbac cache verify' lists all faults");
        return;
    }
    examination.ok(STRUCTURE, "files, header and manifest fit each other; it covers " +
                                  files.namespaceText().value_or("nothing"));
}

std::string ageText(const Rbac::CacheState& state)
{
    using std::chrono::duration_cast;
    using std::chrono::milliseconds;
    const long long changed = duration_cast<milliseconds>(state.lastChange.time_since_epoch()).count();
    const long long age = duration_cast<milliseconds>(state.age).count();
    return (state.generation ? "generation " + std::to_string(*state.generation) : "no generation") +
           ", last written " + timeFrom(changed + age, changed);
}

/// What can be known: the service offers no number of the state that it has, and says only that what it has
/// published is not that.
void compareWithService(const std::string& text, Examination& examination)
{
    const bool isServices = examination.serviceCache &&
                            *examination.cacheDirectory == locateCache(*examination.serviceCache).directory;
    if (!isServices) {
        examination.ok(
            STATE,
            text + (examination.hasServiceAnswered
                        ? "; it is not the cache that the service names"
                        : "; whether the service has the same state cannot be told: it does not answer"));
    } else if (examination.isServiceCacheOutdated) {
        examination.warn(STATE, text + "; the service has changes that are not in it",
                         "see the published cache above");
    } else {
        examination.ok(STATE,
                       text + "; the service does not call it outdated, and tells no generation to compare");
    }
}

void describeState(const std::string& directory, Examination& examination)
{
    const HeardLog log;
    try {
        const Rbac::CacheState state = Rbac::cacheState(directory);
        if (state.isInterrupted) {
            examination.fail(STATE,
                             ageText(state) + ": that write was interrupted, so that all checks are refused",
                             PUBLISH);
        } else {
            compareWithService(ageText(state), examination);
        }
    } catch (const EC_exception&) {
        examination.fail(STATE, log.reason("the header cannot be read"), PUBLISH);
    }
}

/// Holds the cache's lock meanwhile, so that nothing in it waits without end for a lock.
template <typename Describe>
void describeLocked(const char* what, const Describe& describe, Examination& examination)
{
    if (!examination.cacheDirectory) {
        examination.skip(what, "there is no cache to examine");
        return;
    }
    if (!examination.isLockFree) {
        examination.skip(what, "the cache's lock cannot be taken");
        return;
    }
    const std::string& directory = *examination.cacheDirectory;
    const std::chrono::milliseconds timeout = examination.scope.timeout;
    const HeardLog log;
    try {
        const FileLock lock =
            FileLockManager::instance().getLock(directory + '/' + AccessCache::MANIFEST_FILE_NAME);
        const FileLockGuard guard(lock, FileLock::SHARED, static_cast<int>(timeout.count()),
                                  FileLock::DEFAULT_INTERVAL);
        describe(directory, examination);
    } catch (const EC_exception&) {
        examination.skip(what, log.reason("the cache's lock is held by a writer again"));
    } catch (const InputError& error) {
        examination.fail(what, error.what(), PUBLISH);
    }
}

} // namespace

void checkCache(Examination& examination)
{
    const std::optional<std::string> directory = chosenDirectory(examination);
    if (!directory) {
        const std::size_t count = cachesOfHost().size();
        examination.skip(WHAT, count == 0 ? "the host has none, and no service has named one"
                                          : "no service has named one, and the host has " +
                                                std::to_string(count) + ": choose with --cache");
        return;
    }
    std::string path;
    const int failure = whyUnreadable(*directory, path);
    if (failure == EACCES) {
        examination.cannotRead(WHAT, path, failure);
    } else if (failure != 0) {
        examination.fail(WHAT, path + ": " + Process::failureText(failure), PUBLISH);
    } else {
        examination.ok(WHAT, *directory);
        examination.cacheDirectory = directory;
    }
}

void checkCacheStructure(Examination& examination)
{
    describeLocked(STRUCTURE, describeStructure, examination);
}
void checkCacheState(Examination& examination) { describeLocked(STATE, describeState, examination); }

} // namespace ksrbac
