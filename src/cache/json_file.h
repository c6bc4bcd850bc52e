#ifndef KEEPSAFE_CACHE_JSON_FILE_H
#define KEEPSAFE_CACHE_JSON_FILE_H

#include <string>

#include "JsonHandle.h"

namespace Tessara::Keepsafe::Rbac {

/// The document in the file, or null with `error` filled.
inline JsonHandle loadJsonFile(const std::string& path, json_error_t& error)
{
    return JsonHandle(json_load_file(path.c_str(), 0, &error));
}

} // namespace Tessara::Keepsafe::Rbac

#endif
