#include <keepsafe/rbac/api/ManagedObjects.h>

#include <array>
#include <istream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr std::array<std::pair<Propagation::enum_type, std::string_view>, 3> NAMES = {{
    {Propagation::OBJECT, "OBJECT"},
    {Propagation::CHILDREN, "CHILDREN"},
    {Propagation::OBJECT_AND_CHILDREN, "OBJECT_AND_CHILDREN"},
}};

} // namespace

std::ostream& operator<<(std::ostream& stream, Propagation::enum_type value)
{
    for (const auto& [known, name] : NAMES) {
        if (known == value) {
            return stream << name;
        }
    }
    throw std::invalid_argument("invalid propagation value");
}

std::ostream& operator<<(std::ostream& stream, const Propagation& value) { return stream << value.value(); }

std::istream& operator>>(std::istream& stream, Propagation::enum_type& value)
{
    std::string word;
    stream >> word;
    for (const auto& [known, name] : NAMES) {
        if (name == word) {
            value = known;
            return stream;
        }
    }
    stream.setstate(std::ios::failbit);
    return stream;
}

std::istream& operator>>(std::istream& stream, Propagation& value)
{
    Propagation::enum_type read = value.value();
    stream >> read;
    value = read;
    return stream;
}

} // namespace Tessara::Keepsafe::Rbac
