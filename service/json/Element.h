#ifndef KEEPSAFE_SERVICE_JSON_ELEMENT_H
#define KEEPSAFE_SERVICE_JSON_ELEMENT_H

#include <cstdint>
#include <string>

#include <jansson.h>

#include <keepsafe/rbac/namespace/ObjectNamespace.h>

#include "JsonPlace.h"

namespace keepsafe_service {

/// How faults of a document are told: `InputError` with the place.
struct DocumentFaults {
    [[noreturn]] static void fail(const std::string& place, const std::string& what);
    static std::string quoted(const std::string& text);
    static std::string missing(const char* member);
    static std::string wrongType(json_type expected, const json_t* found);
    static std::string outOfRange(json_int_t number, std::int32_t least, std::int32_t most);
    static Tessara::Keepsafe::Rbac::ObjectNamespace toNamespace(const std::string& place,
                                                                const std::string& text);
};

/// A value of a document and its place there.
using Element = Tessara::Keepsafe::JsonPlace<DocumentFaults>;

/// The text as a JSON string, and no longer than a line of a message can bear.
[[nodiscard]] std::string quoted(const std::string& text);

/// The text as a namespace. False when it is none.
[[nodiscard]] bool parseNamespace(const std::string& text, Tessara::Keepsafe::Rbac::ObjectNamespace& ns);

} // namespace keepsafe_service

#endif
