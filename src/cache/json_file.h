#ifndef KEEPSAFE_CACHE_JSON_FILE_H
#define KEEPSAFE_CACHE_JSON_FILE_H

#include <cstdio>
#include <string>

#include "JsonHandle.h"
#include "read_file.h"

namespace Tessara::Keepsafe::Rbac {

/// The document in the file, or null with `error` filled.
inline JsonHandle loadJsonFile(const std::string& path, json_error_t& error)
{
    int failure = 0;
    const Process::Descriptor file = Process::openRegularFile(path, failure);
    if (!file.isOpen()) {
        error.position = 0;
        std::snprintf(error.text, sizeof error.text, "unable to open %s: %s", path.c_str(),
                      Process::failureText(failure).c_str());
        return nullptr;
    }
    return JsonHandle(json_loadfd(file.get(), 0, &error));
}

} // namespace Tessara::Keepsafe::Rbac

#endif
