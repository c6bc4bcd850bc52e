#ifndef KSRBAC_CLI_CACHE_LOCATION_H
#define KSRBAC_CLI_CACHE_LOCATION_H

#include <string>

namespace ksrbac {

/// Where an access cache is and what it is called.
struct CacheLocation {
    std::string id;
    std::string directory;
};

/// An argument with a slash is a directory, anything else the id of a cache under the installation root.
/// Throws `InputError` for an id that cannot be the name of a directory: empty, ".", ".." or with a
/// backslash.
CacheLocation locateCache(const std::string& idOrDirectory);

} // namespace ksrbac

#endif
