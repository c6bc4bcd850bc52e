#include "commandline/parse_arguments.h"

#include <iostream>
#include <string>
#include <vector>

#include "errors/InputError.h"

namespace keepsafe_service {

namespace {

/// The command that the arguments have reached, and its full name.
struct Reached {
    explicit Reached(const CLI::App& program) : command(&program), name(program.get_name())
    {
        while (!command->get_subcommands().empty()) {
            command = command->get_subcommands().back();
            name += ' ' + command->get_name();
        }
    }

    const CLI::App* command;
    std::string name;
};

/// The word that is in the place of a command and is none; empty when there is no such word.
std::string unknownCommand(const CLI::App& reached)
{
    const bool isGroup = !reached.get_subcommands([](const CLI::App*) { return true; }).empty();
    const std::vector<std::string> rest = reached.remaining();
    return isGroup && !rest.empty() && rest.front().compare(0, 1, "-") != 0 ? rest.front() : "";
}

/// The parser's message in the form of all others: it begins in lower case, without a line's end.
std::string messageOf(const CLI::ParseError& error)
{
    std::string message = error.what();
    message.erase(message.find_last_not_of(" \n.") + 1);
    const bool isWord = message.size() > 1 && (message[1] == ' ' || (message[1] >= 'a' && message[1] <= 'z'));
    if (isWord && message[0] >= 'A' && message[0] <= 'Z') {
        message[0] = static_cast<char>(message[0] - 'A' + 'a');
    }
    return message;
}

} // namespace

bool parseArguments(CLI::App& program, int argc, const char* const* argv)
{
    try {
        program.parse(argc, argv);
        return true;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            static_cast<void>(program.exit(error, std::cout, std::cerr));
            return false;
        }
        const Reached reached(program);
        const std::string unknown = unknownCommand(*reached.command);
        throw InputError((unknown.empty() ? messageOf(error) : "there is no command \"" + unknown + '"') +
                         "; '" + reached.name + " --help' says more");
    }
}

} // namespace keepsafe_service
