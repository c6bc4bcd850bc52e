#include "cli/usage_error.h"

#include <algorithm>
#include <vector>

#include "cli/help_formatter.h"
#include "cli/suggestions.h"
#include "output/escape.h"

namespace ksrbac {

namespace {

using WordList = std::vector<std::string>;

bool isOption(const std::string& word) { return word.size() > 1 && word.front() == '-'; }

/// The name of an option that may have its value behind an equals sign.
std::string nameOf(const std::string& option) { return option.substr(0, option.find('=')); }

/// The commands that may follow, except hidden ones.
WordList commandsBelow(const CLI::App& command)
{
    WordList names;
    for (const CLI::App* below : command.get_subcommands([](const CLI::App*) { return true; })) {
        if (!below->get_group().empty()) {
            names.push_back(below->get_name());
        }
    }
    return names;
}

/// The options that the command takes, those of the commands above it included.
WordList optionsOf(const CLI::App& command)
{
    WordList names;
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
        for (const CLI::Option* option : app->get_options()) {
            for (const std::string& name : option->get_lnames()) {
                const std::string dashed = "--" + name;
                if (std::find(names.begin(), names.end(), dashed) == names.end()) {
                    names.push_back(dashed);
                }
            }
        }
    }
    return names;
}

/// The commands of groups that are called like this, with the names of their groups.
WordList commandsOfGroups(const CLI::App& app, const std::string& word)
{
    WordList names;
    for (const std::string& group : commandsBelow(app)) {
        for (const std::string& name : similarNames(word, commandsBelow(*app.get_subcommand(group)))) {
            if (name == word) {
                names.emplace_back(group).append(1, ' ').append(name);
            }
        }
    }
    return names;
}

std::string unknownCommand(const CLI::App& command, const std::string& word)
{
    WordList meant = similarNames(word, commandsBelow(command));
    if (meant.empty()) {
        meant = commandsOfGroups(command, word);
    }
    return "unknown command \"" + escapeForMessage(word) + '"' + didYouMean(meant);
}

std::string unknownOption(const CLI::App& command, const std::string& word)
{
    const std::string name = nameOf(word);
    const std::string wanted = name.compare(0, 2, "--") == 0 ? name : '-' + name;
    return "unknown option \"" + escapeForMessage(name) + '"' +
           didYouMean(similarNames(wanted, optionsOf(command)));
}

std::string description(const CLI::App& app, const CLI::ParseError& error)
{
    // Also what other errors hide: an option that does not exist is why a required one is missing.
    const WordList unknown = app.remaining(true);
    const CLI::App& command = namedCommand(app);
    const auto option = std::find_if(unknown.begin(), unknown.end(), isOption);
    const bool isIncomplete = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
    if (unknown.empty() || !(isIncomplete || dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr)) {
        return error.what();
    }
    // The options of a command that does not exist are none of the group's.
    if (!commandsBelow(command).empty() && !isOption(unknown.front())) {
        return unknownCommand(command, unknown.front());
    }
    if (option != unknown.end()) {
        return unknownOption(command, *option);
    }
    return isIncomplete ? error.what() : "unexpected argument \"" + escapeForMessage(unknown.front()) + '"';
}

} // namespace

const CLI::App& namedCommand(const CLI::App& app)
{
    const auto named = app.get_subcommands();
    return named.empty() ? app : namedCommand(*named.front());
}

std::string usageError(const CLI::App& app, const CLI::ParseError& error)
{
    return description(app, error) + "\nRun '" + fullName(namedCommand(app)) + " --help' for how it is used.";
}

} // namespace ksrbac
