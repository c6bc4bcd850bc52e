#include "json/Element.h"

#include <boost/lexical_cast.hpp>

#include "errors/InputError.h"
#include "json/json_text.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

const char* typeName(json_type type)
{
    switch (type) {
    case JSON_OBJECT:
        return "an object";
    case JSON_ARRAY:
        return "an array";
    case JSON_STRING:
        return "a string";
    case JSON_INTEGER:
        return "an integer";
    case JSON_REAL:
        return "a real number";
    case JSON_TRUE:
    case JSON_FALSE:
        return "a boolean";
    case JSON_NULL:
        break;
    }
    return "null";
}

} // namespace

std::string quoted(const std::string& text)
{
    constexpr std::size_t limit = 200;
    const JsonHandle value(json_stringn(text.data(), text.size()));
    std::string result = jsonText(value.get(), JSON_ENSURE_ASCII);
    if (result.size() > limit) {
        result = result.substr(0, limit) + "...";
    }
    return result;
}

bool parseNamespace(const std::string& text, ObjectNamespace& ns)
{
    return boost::conversion::try_lexical_convert(text, ns);
}

void DocumentFaults::fail(const std::string& place, const std::string& what)
{
    throw InputError((place.empty() ? "document" : place) + ": " + what);
}

std::string DocumentFaults::quoted(const std::string& text) { return keepsafe_service::quoted(text); }

std::string DocumentFaults::missing(const char* member) { return "member " + quoted(member) + " is missing"; }

std::string DocumentFaults::wrongType(json_type expected, const json_t* found)
{
    return std::string("expected ") + typeName(expected) + ", found " + typeName(json_typeof(found));
}

std::string DocumentFaults::outOfRange(json_int_t number, std::int32_t least, std::int32_t most)
{
    return std::to_string(number) + " is out of range (" + std::to_string(least) + " to " +
           std::to_string(most) + ")";
}

ObjectNamespace DocumentFaults::toNamespace(const std::string& place, const std::string& text)
{
    ObjectNamespace ns;
    if (!parseNamespace(text, ns)) {
        fail(place, quoted(text) + " is not a namespace");
    }
    return ns;
}

} // namespace keepsafe_service
