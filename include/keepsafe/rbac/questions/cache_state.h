#ifndef KEEPSAFE_RBAC_QUESTIONS_CACHE_STATE_H
#define KEEPSAFE_RBAC_QUESTIONS_CACHE_STATE_H

#include <chrono>
#include <cstdint>
#include <string>

#include <boost/optional.hpp>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/client/AccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

/// What an access cache says of itself.
struct CacheState {
    /// Stands for this state of the cache: two stamps are equal if nothing was published in between.
    /// Printable ASCII without spaces, to be kept and compared, in other processes of the host too. A stamp
    /// that is taken before a decision tells later whether that decision still stands. Files that were
    /// restored or copied have another stamp.
    std::string stamp;
    /// The last write did not come to its end: checks are refused with status 12 until the next write.
    bool isInterrupted = false;
    /// When the cache was last written, by the clock of the host, with the resolution of its file system.
    std::chrono::system_clock::time_point lastChange;
    /// How long ago that was; 0 if it is in the future.
    std::chrono::nanoseconds age{0};
    // Records in use, without the reserved ones. By the sizes of the files where the header does not tell:
    // then what is left from larger generations counts, too.
    std::uint64_t objects = 0;
    std::uint64_t segments = 0;
    std::uint64_t nodes = 0;
    // Nothing where the header is not that of this project's writers.
    boost::optional<std::uint64_t> generation;        ///< number of completed writes
    boost::optional<std::uint64_t> accessDefinitions; ///< that the cache was made from
};

/// The state of the client's cache; nothing where enforcement is off. Takes the cache's shared file lock for
/// the time of a few system calls, also when the last write was interrupted. Throws `EC_exception` 12 when
/// the lock cannot be acquired or a file cannot be read, 20 for a client that is neither the disk client nor
/// the stub client. Any thread.
[[nodiscard]] KEEPSAFE_API boost::optional<CacheState> cacheState(AccessControlClient& client);

/// The same of the cache in a directory, which need not be complete: only its manifest and its header are
/// needed.
[[nodiscard]] KEEPSAFE_API CacheState cacheState(const std::string& directory);

} // namespace Tessara::Keepsafe::Rbac

#endif
