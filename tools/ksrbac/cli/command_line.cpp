#include "cli/command_line.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "cli/option_tree.h"
#include "cli/usage_error.h"
#include "exit_status.h"

namespace ksrbac {

namespace {

using Arguments = std::vector<std::string>;

/// The parser takes `--name=` for an option without a value and would use the next argument for it. Cut into
/// two arguments, the empty value is one.
Arguments withEmptyValues(const Arguments& arguments)
{
    Arguments result;
    bool optionsMayFollow = true;
    for (const std::string& argument : arguments) {
        optionsMayFollow = optionsMayFollow && argument != "--";
        const bool emptyValue = optionsMayFollow && argument.size() > 3 &&
                                argument.compare(0, 2, "--") == 0 &&
                                argument.find('=') == argument.size() - 1;
        if (emptyValue) {
            result.push_back(argument.substr(0, argument.size() - 1));
            result.emplace_back();
        } else {
            result.push_back(argument);
        }
    }
    return result;
}

Invocation parseWith(OptionTree& tree, Arguments arguments)
{
    arguments = withEmptyValues(arguments);
    std::reverse(arguments.begin(), arguments.end());
    tree.app().parse(std::move(arguments));
    return {tree.globalOptions(), tree.action(), ""};
}

/// Nothing if the arguments have no `--`, if what follows it is for the parser, or if the rest is not valid.
std::optional<Invocation> parseWithoutTail(const Arguments& arguments, const CommandTable& commands)
{
    const auto dashes = std::find(arguments.begin(), arguments.end(), "--");
    if (dashes == arguments.end()) {
        return std::nullopt;
    }
    try {
        OptionTree tree(commands);
        Invocation invocation = parseWith(tree, Arguments(arguments.begin(), dashes));
        Arguments* tail = invocation.action.tail ? invocation.action.tail() : nullptr;
        if (tail == nullptr) {
            return std::nullopt;
        }
        tail->insert(tail->end(), dashes + 1, arguments.end());
        return invocation;
    } catch (const CLI::ParseError&) {
        return std::nullopt;
    }
}

} // namespace

Invocation parseCommandLine(const Arguments& arguments, const CommandTable& commands, std::size_t width)
{
    if (auto invocation = parseWithoutTail(arguments, commands)) {
        return *invocation;
    }
    OptionTree tree(commands, width);
    try {
        return parseWith(tree, arguments);
    } catch (const CLI::CallForHelp&) {
        return {{}, {}, namedCommand(tree.app()).help()};
    } catch (const CLI::CallForVersion& version) {
        return {{}, {}, std::string(version.what()) + '\n'};
    } catch (const CLI::ParseError& error) {
        const std::string text = usageError(tree.app(), error);
        const std::size_t hint = text.rfind('\n');
        throw UsageError(text.substr(0, hint), text.substr(hint + 1));
    }
}

} // namespace ksrbac
