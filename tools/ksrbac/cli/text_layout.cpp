#include "cli/text_layout.h"

#include <algorithm>
#include <regex>
#include <sstream>

namespace ksrbac {

namespace {

constexpr char EXIT_STATUS[] = "Exit status:";

std::vector<std::string> paragraphsOf(const std::string& text)
{
    std::vector<std::string> paragraphs;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find("\n\n", begin), text.size());
        paragraphs.push_back(text.substr(begin, end - begin));
        begin = std::min(text.find_first_not_of('\n', end), text.size());
    }
    return paragraphs;
}

bool hasIndentedLine(const std::string& paragraph)
{
    return paragraph.front() == ' ' || paragraph.find("\n ") != std::string::npos;
}

std::string indented(const std::string& paragraph, std::size_t indent)
{
    std::string out;
    std::istringstream lines(paragraph);
    for (std::string line; std::getline(lines, line);) {
        out += std::string(indent, ' ') + line + '\n';
    }
    return out;
}

std::vector<std::pair<std::string, std::string>> exitStatusesOf(const std::string& paragraph)
{
    static const std::regex beginning("(^|, )([0-9]) ");
    std::string text;
    std::istringstream words(paragraph.substr(sizeof EXIT_STATUS - 1));
    for (std::string word; words >> word;) {
        text += (text.empty() ? "" : " ") + word;
    }
    if (!text.empty() && text.back() == '.') {
        text.pop_back();
    }
    std::vector<std::pair<std::string, std::string>> statuses;
    std::size_t end = 0;
    for (std::sregex_iterator match(text.begin(), text.end(), beginning), last; match != last; ++match) {
        if (!statuses.empty()) {
            statuses.back().second = text.substr(end, static_cast<std::size_t>(match->position()) - end);
        }
        statuses.emplace_back((*match)[2], "");
        end = static_cast<std::size_t>(match->position() + match->length());
    }
    if (!statuses.empty()) {
        statuses.back().second = text.substr(end);
    }
    return statuses;
}

} // namespace

std::string wrapped(const std::string& text, std::size_t indent, std::size_t width)
{
    std::string out;
    std::string line;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        if (!line.empty() && indent + line.size() + 1 + word.size() > width) {
            out += std::string(indent, ' ') + line + '\n';
            line.clear();
        }
        line += (line.empty() ? "" : " ") + word;
    }
    return line.empty() ? out : out + std::string(indent, ' ') + line + '\n';
}

std::string wrappedParagraphs(const std::string& text, std::size_t indent, std::size_t width)
{
    std::string out;
    for (const std::string& paragraph : paragraphsOf(text)) {
        out += out.empty() ? "" : "\n";
        out += hasIndentedLine(paragraph) ? indented(paragraph, indent) : wrapped(paragraph, indent, width);
    }
    return out;
}

std::string inColumns(const std::string& name, const std::string& text, std::size_t column, std::size_t width)
{
    constexpr std::size_t INDENT = 2;
    const std::string head = std::string(INDENT, ' ') + name;
    const std::string lines = wrapped(text, column, width);
    if (lines.empty() || head.size() + INDENT > column) {
        return head + '\n' + lines;
    }
    return head + lines.substr(head.size());
}

Description::Description(const std::string& text)
{
    for (const std::string& paragraph : paragraphsOf(text)) {
        if (summary.empty()) {
            summary = paragraph;
        } else if (paragraph.compare(0, sizeof EXIT_STATUS - 1, EXIT_STATUS) == 0) {
            exitStatuses = exitStatusesOf(paragraph);
        } else {
            body += (body.empty() ? "" : "\n\n") + paragraph;
        }
    }
}

} // namespace ksrbac
