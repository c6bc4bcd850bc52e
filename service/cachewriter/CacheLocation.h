#ifndef KEEPSAFE_SERVICE_CACHEWRITER_CACHELOCATION_H
#define KEEPSAFE_SERVICE_CACHEWRITER_CACHELOCATION_H

#include <string>

namespace keepsafe_service {

/// Where the caches of an installation root are.
class CacheLocation {
public:
    /// `root` may be relative to the working directory. Throws `InputError` for an empty root and for an id
    /// that is not a plain file name.
    CacheLocation(const std::string& root, const std::string& cacheId);

    /// The folder of the operation cache and of all access caches.
    [[nodiscard]] std::string folder() const { return root_ + "/wmc/webserver/temp"; }
    [[nodiscard]] std::string operationCache() const { return folder() + "/operation-cache.json"; }
    [[nodiscard]] std::string accessCache() const { return folder() + "/access-caches/" + cacheId_; }

private:
    std::string root_;
    std::string cacheId_;
};

} // namespace keepsafe_service

#endif
