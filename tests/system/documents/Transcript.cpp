#include "Transcript.h"

#include <sstream>

namespace keepsafe_test {

namespace {

constexpr char PROMPT[] = "$ ";

bool startsWith(const std::string& text, const std::string& start)
{
    return text.compare(0, start.size(), start) == 0;
}

} // namespace

std::vector<std::string> codeBlocksIn(const std::string& document, const std::string& language)
{
    std::vector<std::string> blocks;
    std::istringstream lines(document);
    std::string line;
    bool isInside = false;
    bool isWanted = false;
    while (std::getline(lines, line)) {
        if (startsWith(line, "```")) {
            isInside = !isInside;
            isWanted = isInside && line.substr(3) == language;
            if (isWanted) {
                blocks.emplace_back();
            }
        } else if (isWanted) {
            blocks.back() += line + '\n';
        }
    }
    return blocks;
}

std::vector<Exchange> exchangesIn(const std::string& document)
{
    std::vector<Exchange> exchanges;
    for (const std::string& block : codeBlocksIn(document, "")) {
        if (!startsWith(block, PROMPT)) {
            continue;
        }
        std::istringstream lines(block);
        std::string line;
        while (std::getline(lines, line)) {
            if (startsWith(line, PROMPT)) {
                exchanges.push_back({line.substr(2), ""});
            } else {
                exchanges.back().output += line + '\n';
            }
        }
    }
    return exchanges;
}

} // namespace keepsafe_test
