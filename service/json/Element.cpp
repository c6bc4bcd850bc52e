#include "json/Element.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include <boost/lexical_cast.hpp>

#include "errors/InputError.h"
#include "json/JsonHandle.h"

namespace keepsafe_sandbox {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

const char* typeName(const json_t* value)
{
    switch (json_typeof(value)) {
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

void Element::fail(const std::string& what) const
{
    throw InputError((place_.empty() ? "document" : place_) + ": " + what);
}

void Element::expect(bool isExpected, const char* type) const
{
    if (!isExpected) {
        fail(std::string("expected ") + type + ", found " + typeName(value_));
    }
}

void Element::expectObject() const { expect(json_is_object(value_), "an object"); }

void Element::expectObject(std::initializer_list<const char*> memberNames) const
{
    expectObject();
    const char* key = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value_, key, member)
    {
        if (std::none_of(memberNames.begin(), memberNames.end(),
                         [key](const char* name) { return std::strcmp(name, key) == 0; })) {
            fail("unknown member " + quoted(key));
        }
    }
}

Element Element::member(const char* name) const
{
    json_t* member = json_object_get(value_, name);
    if (member == nullptr) {
        fail("member " + quoted(name) + " is missing");
    }
    return {member, place_.empty() ? name : place_ + "." + name};
}

bool Element::hasMember(const char* name) const { return json_object_get(value_, name) != nullptr; }

bool Element::isNull() const { return json_is_null(value_); }

std::vector<Element> Element::items() const
{
    expect(json_is_array(value_), "an array");
    std::vector<Element> items;
    items.reserve(json_array_size(value_));
    for (std::size_t index = 0; index < json_array_size(value_); ++index) {
        items.push_back(Element(json_array_get(value_, index), place_ + "[" + std::to_string(index) + "]"));
    }
    return items;
}

std::vector<std::pair<std::string, Element>> Element::entries() const
{
    expect(json_is_object(value_), "an object");
    std::vector<std::pair<std::string, Element>> entries;
    const char* key = nullptr;
    json_t* member = nullptr;
    json_object_foreach(value_, key, member)
    {
        entries.emplace_back(key, Element(member, place_ + "[" + quoted(key) + "]"));
    }
    return entries;
}

std::string Element::text() const
{
    expect(json_is_string(value_), "a string");
    return {json_string_value(value_), json_string_length(value_)};
}

bool Element::boolean() const
{
    expect(json_is_boolean(value_), "a boolean");
    return json_is_true(value_);
}

std::int32_t Element::integer(std::int32_t least) const
{
    expect(json_is_integer(value_), "an integer");
    const json_int_t number = json_integer_value(value_);
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    if (number < least || number > most) {
        fail(std::to_string(number) + " is out of range (" + std::to_string(least) + " to " +
             std::to_string(most) + ")");
    }
    return static_cast<std::int32_t>(number);
}

ObjectNamespace Element::objectNamespace() const
{
    ObjectNamespace ns;
    const std::string value = text();
    if (!parseNamespace(value, ns)) {
        fail(quoted(value) + " is not a namespace");
    }
    return ns;
}

} // namespace keepsafe_sandbox
