#ifndef KEEPSAFE_SANDBOX_JSON_JSONHANDLE_H
#define KEEPSAFE_SANDBOX_JSON_JSONHANDLE_H

#include <cstdlib>
#include <memory>
#include <string>

#include <jansson.h>

namespace keepsafe_sandbox {

struct JsonRelease {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};
/// Owns one reference to a JSON value.
using JsonHandle = std::unique_ptr<json_t, JsonRelease>;

/// The value as text, objects with their keys sorted. `flags` are Jansson's.
inline std::string jsonText(const json_t* value, std::size_t flags)
{
    struct Free {
        void operator()(char* text) const noexcept { std::free(text); }
    };
    const std::unique_ptr<char, Free> text(json_dumps(value, flags | JSON_ENCODE_ANY | JSON_SORT_KEYS));
    if (text == nullptr) {
        throw std::bad_alloc();
    }
    return text.get();
}

} // namespace keepsafe_sandbox

#endif
