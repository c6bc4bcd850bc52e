#include "policy/OpenCache.h"

#include <stdexcept>

#include <keepsafe/rbac/questions/cache_state.h>

#include "commands/clients.h"
#include "output/escape.h"

namespace ksrbac {

OpenCache::OpenCache(const std::string& idOrDirectory)
    : name_(idOrDirectory), client_(openClient(idOrDirectory, operations_)),
      stamp_(cacheState(*client_).value().stamp)
{
}

bool OpenCache::isAsOpened() const { return cacheState(*client_).value().stamp == stamp_; }

void OpenCache::requireAsOpened() const
{
    if (!isAsOpened()) {
        throw std::runtime_error("cache " + escapeForMessage(name_) +
                                 " changed meanwhile: the lines above are of no single state, ask again");
    }
}

} // namespace ksrbac
