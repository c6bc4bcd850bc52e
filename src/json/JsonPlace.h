#ifndef KEEPSAFE_SRC_JSON_JSONPLACE_H
#define KEEPSAFE_SRC_JSON_JSONPLACE_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <jansson.h>

namespace Tessara::Keepsafe {

/// A value of a JSON document and the way to it, as in `roles[3].id`; that of the document itself is empty.
/// Refers to the document. What is not as it is asked for is a fault, which `Faults` puts into the words of a
/// program:
///
///     [[noreturn]] static void fail(const std::string& place, const std::string& what);
///     static std::string quoted(const std::string& text);
///     static std::string missing(const char* member);
///     static std::string wrongType(json_type expected, const json_t* found);   // JSON_TRUE: a boolean
///     static std::string outOfRange(json_int_t number, std::int32_t least, std::int32_t most);
///     static ObjectNamespace toNamespace(const std::string& place, const std::string& text);   // or fails
template <typename Faults>
class JsonPlace {
public:
    explicit JsonPlace(json_t* document) : value_(document) {}

    /// Refuses what is not an object.
    void expectObject() const { expect(json_is_object(value_), JSON_OBJECT); }

    /// The same, and members other than these.
    void expectObject(std::initializer_list<const char*> names) const
    {
        expectObject();
        const char* key = nullptr;
        json_t* member = nullptr;
        json_object_foreach(value_, key, member)
        {
            const auto isThis = [key](const char* name) { return std::strcmp(name, key) == 0; };
            if (std::none_of(names.begin(), names.end(), isThis)) {
                fail("unknown member " + Faults::quoted(key));
            }
        }
    }

    /// The member of that name, which has to be there.
    [[nodiscard]] JsonPlace member(const char* name) const
    {
        const auto found = optionalMember(name);
        if (!found) {
            fail(Faults::missing(name));
        }
        return *found;
    }

    [[nodiscard]] std::optional<JsonPlace> optionalMember(const char* name) const
    {
        json_t* member = json_object_get(value_, name);
        if (member == nullptr) {
            return std::nullopt;
        }
        return JsonPlace(member, place_.empty() ? name : place_ + '.' + name);
    }

    [[nodiscard]] bool hasMember(const char* name) const { return json_object_get(value_, name) != nullptr; }
    [[nodiscard]] bool isNull() const { return json_is_null(value_); }
    [[nodiscard]] bool isText() const { return json_is_string(value_); }

    [[nodiscard]] std::vector<JsonPlace> items() const
    {
        expect(json_is_array(value_), JSON_ARRAY);
        std::vector<JsonPlace> items;
        items.reserve(json_array_size(value_));
        for (std::size_t index = 0; index < json_array_size(value_); ++index) {
            items.push_back(
                JsonPlace(json_array_get(value_, index), place_ + '[' + std::to_string(index) + ']'));
        }
        return items;
    }

    /// The members of an object that is used as a map, in the order of the document.
    [[nodiscard]] std::vector<std::pair<std::string, JsonPlace>> entries() const
    {
        expectObject();
        std::vector<std::pair<std::string, JsonPlace>> entries;
        const char* key = nullptr;
        json_t* member = nullptr;
        json_object_foreach(value_, key, member)
        {
            entries.emplace_back(key, JsonPlace(member, place_ + '[' + Faults::quoted(key) + ']'));
        }
        return entries;
    }

    [[nodiscard]] std::string text() const
    {
        expect(json_is_string(value_), JSON_STRING);
        return {json_string_value(value_), json_string_length(value_)};
    }

    [[nodiscard]] bool boolean() const
    {
        expect(json_is_boolean(value_), JSON_TRUE);
        return json_is_true(value_);
    }

    /// An integer from `least` to INT32_MAX.
    [[nodiscard]] std::int32_t integer(std::int32_t least) const
    {
        expect(json_is_integer(value_), JSON_INTEGER);
        const json_int_t number = json_integer_value(value_);
        constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
        if (number < least || number > most) {
            fail(Faults::outOfRange(number, least, most));
        }
        return static_cast<std::int32_t>(number);
    }

    /// A text that is a namespace.
    [[nodiscard]] auto objectNamespace() const { return Faults::toNamespace(place_, text()); }

    [[nodiscard]] const std::string& place() const noexcept { return place_; }
    [[noreturn]] void fail(const std::string& what) const { Faults::fail(place_, what); }

private:
    JsonPlace(json_t* value, std::string place) : value_(value), place_(std::move(place)) {}

    void expect(bool isExpected, json_type type) const
    {
        if (!isExpected) {
            fail(Faults::wrongType(type, value_));
        }
    }

    json_t* value_;
    std::string place_;
};

} // namespace Tessara::Keepsafe

#endif
