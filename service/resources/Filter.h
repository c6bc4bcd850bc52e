#ifndef KEEPSAFE_SERVICE_RESOURCES_FILTER_H
#define KEEPSAFE_SERVICE_RESOURCES_FILTER_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace keepsafe_service {

/// A filter expression: conditions that all have to hold.
///
///     filter    = condition *( "and" condition )
///     condition = field "eq" literal | function "(" field "," literal ")"
///     function  = "contains" | "startswith"
///     literal   = "'" *( any byte but ' | "''" ) "'"
///
/// Words are case-sensitive and parted by white space, which is free everywhere else but within words and
/// literals. Two quotes in a literal mean one.
class Filter {
public:
    /// Throws `Refusal`: `Malformed` with the position of the fault, from 1 on, also for a text without a
    /// condition; `Invalid` for a field other than these.
    static Filter parse(const std::string& text, const std::vector<std::string>& fields);

    /// `valueOf` gives the value of a field of what is looked at, by the field's place in `fields`.
    [[nodiscard]] bool matches(const std::function<std::string(std::size_t)>& valueOf) const;

private:
    enum class Test { Equals, Contains, StartsWith };
    struct Condition {
        std::size_t field = 0;
        Test test = Test::Equals;
        std::string literal;
    };
    class Parser;

    std::vector<Condition> conditions_;
};

} // namespace keepsafe_service

#endif
