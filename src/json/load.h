#ifndef KEEPSAFE_SRC_JSON_LOAD_H
#define KEEPSAFE_SRC_JSON_LOAD_H

#include <cstddef>
#include <cstdio>
#include <string>
#include <string_view>

#include "JsonHandle.h"
#include "bounds.h"
#include "read_file.h"

namespace Tessara::Keepsafe {

/// The document that is the whole text, zero bytes included, or null with `error` filled, also when it goes
/// beyond the bounds. `flags` are Jansson's.
inline JsonHandle loadJson(std::string_view text, json_error_t& error, std::size_t flags,
                           const JsonBounds& bounds)
{
    if (!isWithinBounds(text, error, bounds)) {
        return nullptr;
    }
    return JsonHandle(json_loadb(text.data() == nullptr ? "" : text.data(), text.size(), flags, &error));
}

inline JsonHandle loadJson(std::string_view text, json_error_t& error, std::size_t flags = 0)
{
    return loadJson(text, error, flags, JsonBounds::ofText(text.size()));
}

/// The longest file that is read as a document, in bytes: an operation cache of that size has a million
/// operations. Parsing takes several times as much memory.
constexpr std::size_t MOST_JSON_FILE_BYTES = 64 * MEBIBYTE;

/// The document in a regular file, or null with `error` filled as `json_load_file` fills it. A longer file is
/// not read to its end.
inline JsonHandle loadJsonFile(const std::string& path, json_error_t& error,
                               std::size_t mostBytes = MOST_JSON_FILE_BYTES)
{
    int failure = 0;
    const Process::Descriptor file = Process::openRegularFile(path, failure);
    const char* action = "open";
    std::string text;
    if (file.isOpen()) {
        action = "read";
        failure = Process::readAll(file, text, mostBytes);
    }
    if (failure != 0) {
        error.position = 0;
        static_cast<void>(std::snprintf(error.text, sizeof error.text, "unable to %s %s: %s", action,
                                        path.c_str(), Process::failureText(failure).c_str()));
        return nullptr;
    }
    return loadJson(text, error);
}

} // namespace Tessara::Keepsafe

#endif
