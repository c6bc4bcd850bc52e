#ifndef KSRBAC_COMMANDS_USABLE_CACHE_H
#define KSRBAC_COMMANDS_USABLE_CACHE_H

#include "cli/cache_location.h"

namespace ksrbac {

/// Looks whether the cache can be opened before the library is told to, which says a status where the user
/// needs a reason: throws `CommandFailure` of the cache, with status 12, if the directory or a file in it is
/// missing or of another kind, if this user may not read it, or if its format has another version.
void requireUsable(const CacheLocation& cache);

} // namespace ksrbac

#endif
