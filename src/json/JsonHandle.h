#ifndef KEEPSAFE_SRC_JSON_JSONHANDLE_H
#define KEEPSAFE_SRC_JSON_JSONHANDLE_H

#include <memory>

#include <jansson.h>

namespace Tessara::Keepsafe {

struct JsonRelease {
    void operator()(json_t* value) const noexcept { json_decref(value); }
};

/// Owns one reference of a JSON value, or none.
using JsonHandle = std::unique_ptr<json_t, JsonRelease>;

} // namespace Tessara::Keepsafe

#endif
