#ifndef KEEPSAFE_SERVICE_JSON_JSON_VALUES_H
#define KEEPSAFE_SERVICE_JSON_JSON_VALUES_H

#include <new>
#include <string>

#include <jansson.h>

#include "JsonHandle.h"

namespace keepsafe_service {

using Tessara::Keepsafe::JsonHandle;

/// Owns a value that Jansson has just made. Throws `std::bad_alloc` for none, also for a text that is not
/// UTF-8: no record holds one.
inline JsonHandle owned(json_t* value)
{
    if (value == nullptr) {
        throw std::bad_alloc();
    }
    return JsonHandle(value);
}

inline JsonHandle jsonString(const std::string& value)
{
    return owned(json_stringn(value.data(), value.size()));
}

} // namespace keepsafe_service

#endif
