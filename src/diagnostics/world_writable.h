#ifndef KEEPSAFE_DIAGNOSTICS_WORLD_WRITABLE_H
#define KEEPSAFE_DIAGNOSTICS_WORLD_WRITABLE_H

#include <cstddef>
#include <mutex>
#include <set>
#include <string>

#include <sys/stat.h>

#include <keepsafe/platform/log/logmsg.h>

#include "NoDestructor.h"
#include "tell.h"

namespace Tessara::Keepsafe::diagnostics {

inline std::mutex warnedPathsMutex;
/// Not local to the function; see `Process::ForkHandlers`.
inline Process::NoDestructor<std::set<std::string>> warnedPaths;

/// Logs, once for each path in the life of the process, that everybody may change a file on which decisions
/// depend, or put another one in its place. In a folder like /tmp only the owners may.
inline void warnIfWorldWritable(const char* tag, const std::string& path)
{
    constexpr std::size_t MOST_PATHS = 1000;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0 || (status.st_mode & (S_IWOTH | S_ISVTX)) != S_IWOTH) {
        return;
    }
    {
        // Not waited for: the thread that holds it may be missing in the child of a fork.
        const std::unique_lock<std::mutex> lock(warnedPathsMutex, std::try_to_lock);
        if (lock.owns_lock() && (warnedPaths->size() >= MOST_PATHS || !warnedPaths->insert(path).second)) {
            return;
        }
    }
    tell(Platform::LOG_LEVEL_NOTABLE, tag, path + " is writable by everybody");
}

} // namespace Tessara::Keepsafe::diagnostics

#endif
