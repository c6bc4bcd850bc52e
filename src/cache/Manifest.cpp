#include <keepsafe/cache/Manifest.h>

#include <boost/lexical_cast.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

#include "json_file.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char TAG[] = "Manifest constructor";

/// The text of member "namespace".
std::string readNamespaceText(const std::string& path)
{
    json_error_t error;
    const JsonHandle root = loadJsonFile(path, error);
    if (!root) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Error loading %s at position %d: %s", path.c_str(),
                error.position, error.text);
        throw EC_exception(Status::CACHE_UNUSABLE);
    }
    const char* text = nullptr;
    if (json_unpack_ex(root.get(), &error, 0, "{s:s}", "namespace", &text) != 0) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Error loading %s: %s", path.c_str(), error.text);
        throw EC_exception(Status::CACHE_UNUSABLE);
    }
    return text;
}

ObjectNamespace parseNamespace(const std::string& text)
{
    try {
        return boost::lexical_cast<ObjectNamespace>(text);
    } catch (const boost::bad_lexical_cast&) {
        throw EC_exception(Status::MALFORMED_DOCUMENT);
    }
}

} // namespace

Manifest::Manifest(const std::string& accessCacheId, const std::string& cacheDirectory)
    : cacheId(accessCacheId), directory(cacheDirectory),
      manifestFileName(cacheDirectory + '/' + AccessCache::MANIFEST_FILE_NAME)
{
    ns = parseNamespace(readNamespaceText(manifestFileName));
}

} // namespace Tessara::Keepsafe::Rbac
