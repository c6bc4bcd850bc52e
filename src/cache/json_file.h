#ifndef KEEPSAFE_CACHE_JSON_FILE_H
#define KEEPSAFE_CACHE_JSON_FILE_H

#include <memory>
#include <string>

#include <jansson.h>

namespace Tessara::Keepsafe::Rbac {

struct JsonRelease {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};

/// Owns one reference of a JSON value.
using JsonHandle = std::unique_ptr<json_t, JsonRelease>;

/// The document in the file, or null with `error` filled.
inline JsonHandle loadJsonFile(const std::string& path, json_error_t& error)
{
    return JsonHandle(json_load_file(path.c_str(), 0, &error));
}

} // namespace Tessara::Keepsafe::Rbac

#endif
