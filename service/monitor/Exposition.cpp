#include "monitor/Exposition.h"

#include <array>
#include <charconv>
#include <cmath>

namespace keepsafe_service {

namespace {

std::string escaped(const std::string& value)
{
    std::string text;
    for (const char c : value) {
        if (c == '\\' || c == '"') {
            text += '\\';
        }
        text += c == '\n' ? "\\n" : std::string(1, c);
    }
    return text;
}

} // namespace

void Exposition::begin(const std::string& name, const char* type, const std::string& help)
{
    name_ = name;
    text_ += "# HELP " + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
}

void Exposition::add(double value, const Labels& labels, const std::string& suffix)
{
    text_ += name_ + suffix;
    for (std::size_t i = 0; i < labels.size(); ++i) {
        text_ += (i == 0 ? "{" : ",") + labels[i].first + "=\"" + escaped(labels[i].second) + '"';
    }
    text_ += (labels.empty() ? " " : "} ") + number(value) + '\n';
}

void Exposition::addOne(const std::string& name, const char* type, const std::string& help, double value)
{
    begin(name, type, help);
    add(value);
}

std::string Exposition::number(double value)
{
    if (std::isinf(value)) {
        return value > 0 ? "+Inf" : "-Inf";
    }
    std::array<char, 32> digits{};
    char* const begin = digits.data();
    return {begin, std::to_chars(begin, begin + digits.size(), value).ptr};
}

} // namespace keepsafe_service
