#include "secrets.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string_view>

namespace Tessara::Dal {
namespace {

/// A keyword with one of these in its name holds a secret.
constexpr std::array<std::string_view, 5> SECRET_WORDS = {"pwd", "pass", "secret", "token", "key"};

/// PostgreSQL's driver takes options of the client library in one value, "pqopt={password=x sslmode=y}".
constexpr std::string_view NESTED_OPTIONS = "pqopt";

std::string lowerCase(std::string_view text)
{
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char character) { return static_cast<char>(std::tolower(character)); });
    return lower;
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view BLANKS = " \t\r\n";
    const std::size_t first = text.find_first_not_of(BLANKS);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(BLANKS) - first + 1);
}

bool hasSecretWord(std::string_view text)
{
    const std::string lower = lowerCase(text);
    return std::any_of(SECRET_WORDS.begin(), SECRET_WORDS.end(),
                       [&](std::string_view word) { return lower.find(word) != std::string::npos; });
}

/// The end of a value that starts at `start`: its separator, or the end of the text. Inside braces a
/// separator is part of the value.
std::size_t valueEnd(std::string_view text, std::size_t start, char separator)
{
    if (start < text.size() && text[start] == '{') {
        const std::size_t brace = text.find('}', start);
        start = brace == std::string_view::npos ? text.size() : brace;
    }
    return std::min(text.find(separator, start), text.size());
}

/// Whether the text has "pwd=" or a similar keyword, with a value.
bool hasAssignedSecret(std::string_view text)
{
    const std::string lower = lowerCase(text);
    for (const std::string_view word : {"pwd", "password", "passwd"}) {
        for (std::size_t at = lower.find(word); at != std::string::npos; at = lower.find(word, at + 1)) {
            const std::size_t next = lower.find_first_not_of(" \t", at + word.size());
            if (next != std::string::npos && lower[next] == '=') {
                return true;
            }
        }
    }
    return false;
}

/// Collects the secrets of a list "keyword=value;keyword={value}".
void collect(std::string_view text, char separator, std::vector<std::string>& values)
{
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t equals = text.find('=', at);
        if (equals == std::string_view::npos) {
            return;
        }
        const std::size_t start = std::min(text.find_first_not_of(" \t", equals + 1), text.size());
        const std::size_t end = valueEnd(text, start, separator);
        std::string_view value = trimmed(text.substr(start, end - start));
        if (value.size() >= 2 && value.front() == '{' && value.back() == '}') {
            value = value.substr(1, value.size() - 2);
        }
        const std::string_view keyword = text.substr(at, equals - at);
        if (lowerCase(keyword).find(NESTED_OPTIONS) != std::string::npos) {
            collect(value, ' ', values);
        } else if (!value.empty() && hasSecretWord(keyword)) {
            values.emplace_back(value);
        }
        at = end + 1;
    }
}

} // namespace

Secrets::Secrets(const std::string& connectionString) { collect(connectionString, ';', values_); }

std::string Secrets::checked(const std::string& message) const
{
    const bool repeatsValue = std::any_of(values_.begin(), values_.end(), [&](const std::string& value) {
        return message.find(value) != std::string::npos;
    });
    return repeatsValue || hasAssignedSecret(message) ? "(the driver's message repeats a secret)" : message;
}

bool Secrets::mentions(const std::string& text) { return hasSecretWord(text); }

} // namespace Tessara::Dal
