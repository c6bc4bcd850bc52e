#include "registration/JsonPlace.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "exit_status.h"
#include "output/escape.h"

namespace ksrbac {

std::string JsonPlace::where() const { return path_.empty() ? name_ : name_ + ": " + path_; }

void JsonPlace::refuse(const std::string& what) const { throw InputError(where() + ": " + what); }

void JsonPlace::expectObject(std::initializer_list<const char*> members) const
{
    if (!json_is_object(value_)) {
        refuse("not an object");
    }
    const char* key = nullptr;
    json_t* value = nullptr;
    // Iterating borrows the object for reading, through a pointer that could change it.
    json_object_foreach(const_cast<json_t*>(value_), key, value)
    {
        const bool isKnown = std::any_of(members.begin(), members.end(), [key](const char* member) {
            return std::string_view(member) == key;
        });
        if (!isKnown) {
            refuse("unknown member \"" + escapeForMessage(key) + '"');
        }
    }
}

JsonPlace JsonPlace::member(const char* key) const
{
    const auto found = optionalMember(key);
    if (!found) {
        refuse("no member \"" + std::string(key) + '"');
    }
    return *found;
}

std::optional<JsonPlace> JsonPlace::optionalMember(const char* key) const
{
    const json_t* value = json_object_get(value_, key);
    if (value == nullptr) {
        return std::nullopt;
    }
    return JsonPlace(*this, (path_.empty() ? "" : ".") + std::string(key), value);
}

std::vector<JsonPlace> JsonPlace::elements() const
{
    if (!json_is_array(value_)) {
        refuse("not an array");
    }
    std::vector<JsonPlace> places;
    for (std::size_t index = 0; index < json_array_size(value_); ++index) {
        places.push_back(JsonPlace(*this, '[' + std::to_string(index) + ']', json_array_get(value_, index)));
    }
    return places;
}

std::string JsonPlace::text() const
{
    if (!json_is_string(value_)) {
        refuse("not a string");
    }
    return {json_string_value(value_), json_string_length(value_)};
}

bool JsonPlace::boolean() const
{
    if (!json_is_boolean(value_)) {
        refuse("neither true nor false");
    }
    return json_is_true(value_);
}

int JsonPlace::roleId() const
{
    const json_int_t number = json_integer_value(value_);
    if (!json_is_integer(value_) || number < 0 || number > std::numeric_limits<int>::max()) {
        refuse("not a role id, which is a number from 0 to 2147483647");
    }
    return static_cast<int>(number);
}

} // namespace ksrbac
