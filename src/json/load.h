#ifndef KEEPSAFE_SRC_JSON_LOAD_H
#define KEEPSAFE_SRC_JSON_LOAD_H

#include <cstdio>
#include <string>

#include "JsonHandle.h"
#include "read_file.h"

namespace Tessara::Keepsafe {

/// The document that is the whole text, zero bytes included, or null with `error` filled.
inline JsonHandle loadJson(const std::string& text, json_error_t& error)
{
    return JsonHandle(json_loadb(text.data(), text.size(), 0, &error));
}

/// The document in a regular file, or null with `error` filled as `json_load_file` fills it.
inline JsonHandle loadJsonFile(const std::string& path, json_error_t& error)
{
    int failure = 0;
    const Process::Descriptor file = Process::openRegularFile(path, failure);
    if (!file.isOpen()) {
        error.position = 0;
        static_cast<void>(std::snprintf(error.text, sizeof error.text, "unable to open %s: %s", path.c_str(),
                                        Process::failureText(failure).c_str()));
        return nullptr;
    }
    return JsonHandle(json_loadfd(file.get(), 0, &error));
}

} // namespace Tessara::Keepsafe

#endif
