#include "cli/cache_location.h"

#include <keepsafe/cache/AccessCache.h>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

std::string withoutTrailingSlashes(std::string path)
{
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

} // namespace

CacheLocation locateCache(const std::string& idOrDirectory)
{
    if (idOrDirectory.find('/') != std::string::npos) {
        const std::string directory = withoutTrailingSlashes(idOrDirectory);
        return {directory.substr(directory.rfind('/') + 1), directory};
    }
    const bool canBeAName = !idOrDirectory.empty() && idOrDirectory != "." && idOrDirectory != ".." &&
                            idOrDirectory.find('\\') == std::string::npos;
    if (!canBeAName) {
        throw InputError("\"" + escapeForMessage(idOrDirectory) +
                         "\" is not the id of an access cache; a directory needs a slash, as in ./NAME");
    }
    return {idOrDirectory, Tessara::Keepsafe::Rbac::AccessCache::directoryOf(idOrDirectory)};
}

} // namespace ksrbac
