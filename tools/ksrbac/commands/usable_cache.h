#ifndef KSRBAC_COMMANDS_USABLE_CACHE_H
#define KSRBAC_COMMANDS_USABLE_CACHE_H

#include "cli/cache_location.h"

namespace ksrbac {

/// Checks that the cache can be opened. The library would report a status where the user needs a reason.
/// Throws `CommandFailure` of the cache, with status 12, if the directory or a file in it is missing or of
/// another kind, if this user may not read it, or if its format has another version.
void requireUsable(const CacheLocation& cache);

} // namespace ksrbac

#endif
