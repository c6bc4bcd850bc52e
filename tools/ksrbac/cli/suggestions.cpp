#include "cli/suggestions.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace ksrbac {

namespace {

constexpr std::size_t MOST_NAMES = 3;
/// Longer words are no typos, and comparing takes the product of the lengths.
constexpr std::size_t LONGEST_WORD = 100;

std::string inLowerCase(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

/// How many characters have to be added, removed, replaced or swapped with their neighbour.
std::size_t distance(const std::string& from, const std::string& to)
{
    using Row = std::vector<std::size_t>;
    Row beforeLast(to.size() + 1);
    Row last(to.size() + 1);
    Row row(to.size() + 1);
    for (std::size_t j = 0; j <= to.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= from.size(); ++i) {
        beforeLast.swap(last);
        last.swap(row);
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            row[j] =
                std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1)});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                row[j] = std::min(row[j], beforeLast[j - 2] + 1);
            }
        }
    }
    return row[to.size()];
}

/// How far the word is from the name: two for each change. The beginning of a name is further away than one
/// change, and nearer than two.
std::size_t farness(const std::string& word, const std::string& name)
{
    constexpr std::size_t SHORTEST_BEGINNING = 2;
    const std::size_t changes = distance(word, name);
    const bool isBeginning = word.size() >= SHORTEST_BEGINNING && name.compare(0, word.size(), word) == 0;
    return isBeginning ? std::min<std::size_t>(2 * changes, 3) : 2 * changes;
}

} // namespace

std::vector<std::string> similarNames(const std::string& word, const std::vector<std::string>& names)
{
    if (word.size() > LONGEST_WORD) {
        return {};
    }
    const std::string wanted = inLowerCase(word);
    std::size_t nearest = 3 + 2 * (word.size() / 5); // one change in a short word, more in long ones
    std::vector<std::string> similar;
    for (const std::string& name : names) {
        const std::size_t far = name.size() > LONGEST_WORD ? nearest + 1 : farness(wanted, inLowerCase(name));
        if (far < nearest) {
            similar.clear();
            nearest = far;
        }
        if (far == nearest) {
            similar.push_back(name);
        }
    }
    similar.resize(std::min(similar.size(), MOST_NAMES));
    return similar;
}

std::string didYouMean(const std::vector<std::string>& names)
{
    std::string text = names.empty() ? "" : "; did you mean ";
    for (std::size_t i = 0; i < names.size(); ++i) {
        const char* const separator = i == 0 ? "" : i + 1 == names.size() ? " or " : ", ";
        text += separator + names[i];
    }
    return names.empty() ? text : text + '?';
}

} // namespace ksrbac
