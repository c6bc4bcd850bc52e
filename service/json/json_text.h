#ifndef KEEPSAFE_SERVICE_JSON_JSON_TEXT_H
#define KEEPSAFE_SERVICE_JSON_JSON_TEXT_H

#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include <jansson.h>

#include "JsonHandle.h"

namespace keepsafe_service {

using Tessara::Keepsafe::JsonHandle;

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

} // namespace keepsafe_service

#endif
