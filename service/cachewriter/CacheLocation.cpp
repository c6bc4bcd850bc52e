#include "cachewriter/CacheLocation.h"

#include <filesystem>

#include "errors/InputError.h"

namespace keepsafe_service {

CacheLocation::CacheLocation(const std::string& root, const std::string& cacheId)
{
    if (root.empty()) {
        throw InputError("the installation root is empty");
    }
    const bool isFileName = !cacheId.empty() && cacheId != "." && cacheId != ".." &&
                            cacheId.find_first_of(std::string("/\\\0", 3)) == std::string::npos;
    if (!isFileName) {
        throw InputError("\"" + cacheId + "\" is not a cache id: it must be a file name without slashes");
    }
    root_ = std::filesystem::absolute(root).lexically_normal().string();
    if (root_.back() == '/') {
        root_.pop_back();
    }
    cacheId_ = cacheId;
}

} // namespace keepsafe_service
