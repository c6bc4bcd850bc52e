#include "support/messages.h"

#include <regex>

namespace keepsafe_test {

std::vector<std::string> messagesOf(const CapturedLog& log, const std::string& tag, int level)
{
    static const std::regex LOCATION(R"(\((\w+\.cpp):[0-9]+\)$)");
    std::vector<std::string> messages;
    for (const LogLine& line : log.lines()) {
        if (line.tag == tag && (level == -1 || line.level == level) &&
            std::regex_search(line.text, LOCATION)) {
            messages.push_back(std::regex_replace(line.text, LOCATION, "($1:*)"));
        }
    }
    return messages;
}

std::vector<std::string> statementsOf(const CapturedLog& log, const std::string& tag)
{
    static const std::regex STATEMENT("SELECT [^\"]*");
    std::vector<std::string> statements;
    std::smatch found;
    for (const LogLine& line : log.lines()) {
        if (line.tag == tag && std::regex_search(line.text, found, STATEMENT)) {
            statements.push_back(found.str());
        }
    }
    return statements;
}

} // namespace keepsafe_test
