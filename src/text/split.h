#ifndef KEEPSAFE_SRC_TEXT_SPLIT_H
#define KEEPSAFE_SRC_TEXT_SPLIT_H

#include <algorithm>
#include <cstddef>
#include <string>
#include <vector>

namespace Tessara::Keepsafe::Text {

/// The parts of a text between separators: one more than there are separators, any of them may be empty.
[[nodiscard]] inline std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

} // namespace Tessara::Keepsafe::Text

#endif
