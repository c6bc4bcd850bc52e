#include <keepsafe/cache/Manifest.h>

#include <boost/lexical_cast.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/platform/status/status_codes.h>

#include "fail.h"
#include "load.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char CONSTRUCTOR_TAG[] = "Manifest constructor";

/// The text of member "namespace".
std::string readNamespaceText(const std::string& path)
{
    json_error_t error;
    const JsonHandle root = loadJsonFile(path, error);
    if (!root) {
        diagnostics::fail(Status::CACHE_UNUSABLE, CONSTRUCTOR_TAG,
                          "Error loading " + path + " at position " + std::to_string(error.position) + ": " +
                              error.text);
    }
    const char* text = nullptr;
    if (json_unpack_ex(root.get(), &error, 0, "{s:s}", "namespace", &text) != 0) {
        diagnostics::fail(Status::CACHE_UNUSABLE, CONSTRUCTOR_TAG,
                          "Error loading " + path + ": " + error.text);
    }
    return text;
}

ObjectNamespace readNamespace(const std::string& path)
{
    const std::string text = readNamespaceText(path);
    try {
        return boost::lexical_cast<ObjectNamespace>(text);
    } catch (const boost::bad_lexical_cast&) {
        throw ExplainedFailure(Status::MALFORMED_DOCUMENT, path + ": \"" + text + "\" is not a namespace");
    }
}

} // namespace

Manifest::Manifest(const std::string& accessCacheId, const std::string& cacheDirectory)
    : cacheId(accessCacheId), directory(cacheDirectory),
      manifestFileName(cacheDirectory + '/' + AccessCache::MANIFEST_FILE_NAME)
{
    ns = readNamespace(manifestFileName);
}

} // namespace Tessara::Keepsafe::Rbac
