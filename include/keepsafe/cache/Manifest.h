#ifndef KEEPSAFE_CACHE_MANIFEST_H
#define KEEPSAFE_CACHE_MANIFEST_H

#include <string>

#include <keepsafe/platform/export/export.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

namespace Tessara::Keepsafe::Rbac {

/// The manifest of an access cache, `<directory>/manifest.json`: a JSON object whose member "namespace" is
/// the text form of the namespace that the cache covers. Other members are ignored.
struct KEEPSAFE_API Manifest {
    /// Reads the manifest. Throws `EC_exception` 12, with a line in the log, when the file cannot be read, is
    /// not JSON or has no string "namespace"; `EC_exception` 7610 when that string is not a namespace.
    Manifest(const std::string& accessCacheId, const std::string& cacheDirectory);

    ObjectNamespace ns;
    std::string cacheId;
    std::string directory;
    std::string manifestFileName;
};

} // namespace Tessara::Keepsafe::Rbac

#endif
