#ifndef KSRBAC_IO_DOCUMENTFAULTS_H
#define KSRBAC_IO_DOCUMENTFAULTS_H

#include <cstdint>
#include <string>

#include <jansson.h>

#include "cli/arguments.h"
#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

/// How faults of a JSON document that the user has written are told: for `JsonPlace`.
struct DocumentFaults {
    [[noreturn]] static void fail(const std::string& place, const std::string& what)
    {
        throw InputError(place.empty() ? what : place + ": " + what);
    }
    static std::string quoted(const std::string& text) { return '"' + escapeForMessage(text) + '"'; }
    static std::string missing(const char* member) { return "no member " + quoted(member); }
    static std::string wrongType(json_type expected, const json_t* /*found*/)
    {
        switch (expected) {
        case JSON_OBJECT:
            return "not an object";
        case JSON_ARRAY:
            return "not an array";
        case JSON_STRING:
            return "not a string";
        case JSON_INTEGER:
            return "not an integer";
        default:
            return "neither true nor false";
        }
    }
    static std::string outOfRange(json_int_t number, std::int32_t least, std::int32_t most)
    {
        return std::to_string(number) + " is not between " + std::to_string(least) + " and " +
               std::to_string(most);
    }
    static Tessara::Keepsafe::Rbac::ObjectNamespace toNamespace(const std::string& place,
                                                                const std::string& text)
    {
        return parseNamespace(place, text);
    }
};

} // namespace ksrbac

#endif
