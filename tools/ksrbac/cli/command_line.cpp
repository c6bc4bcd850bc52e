#include "cli/command_line.h"

#include <algorithm>

#include "cli/option_tree.h"
#include "exit_status.h"

namespace ksrbac {

namespace {

/// The parser takes `--name=` for an option without a value and would use the next argument for it. Cut into
/// two arguments, the empty value is one.
std::vector<std::string> withEmptyValues(const std::vector<std::string>& arguments)
{
    std::vector<std::string> result;
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

/// The innermost command that was named: the one whose help is wanted.
const CLI::App& namedCommand(const CLI::App& app)
{
    const auto named = app.get_subcommands();
    return named.empty() ? app : namedCommand(*named.front());
}

} // namespace

Invocation parseCommandLine(const std::vector<std::string>& arguments)
{
    OptionTree tree;
    std::vector<std::string> reversed = withEmptyValues(arguments);
    std::reverse(reversed.begin(), reversed.end());
    try {
        tree.app().parse(std::move(reversed));
    } catch (const CLI::CallForHelp&) {
        return {{}, ProgramText{namedCommand(tree.app()).help()}};
    } catch (const CLI::CallForVersion& version) {
        return {{}, ProgramText{std::string(version.what()) + '\n'}};
    } catch (const CLI::ParseError& error) {
        throw InputError(std::string(error.what()) + "\nRun '" + "ksrbac --help' for how it is used.");
    }
    return tree.invocation();
}

} // namespace ksrbac
