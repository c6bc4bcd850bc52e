#ifndef KSRBAC_CLI_COMMAND_H
#define KSRBAC_CLI_COMMAND_H

#include <functional>
#include <string>
#include <vector>

#include "exit_status.h"
#include "io/Console.h"

namespace CLI {
class App;
}

namespace ksrbac {

/// The action of a command after its arguments are read. Owns the options that they are read into.
struct Action {
    /// Prints the results and returns the exit status. Exceptions of the library, `InputError` and
    /// `OutputError` pass through.
    std::function<ExitStatus(bool json, Console& console)> run;
    /// Where the arguments after `--` belong, called after those before it were read. Null, or returning
    /// null: they are for the parser.
    std::function<std::vector<std::string>*()> tail = nullptr;
    /// Whether the installation is needed: its configuration is read and says where the log goes.
    bool usesInstallation = true;
};

/// A command, or a group of commands.
struct CommandRow {
    /// The command's full name: "cache" is the group of "cache info" and comes before it.
    const char* name;
    /// Describes the command and adds its options. Null for a group.
    Action (*add)(CLI::App& command);
    const char* groupDescription = nullptr;
    const char* groupExample = nullptr;
    /// The heading of the overview that the command is under.
    const char* purpose = nullptr;
    /// Not in the overview, the manual page and the completion.
    bool isHidden = false;
};

/// All commands, in the order of the help.
using CommandTable = std::vector<CommandRow>;

} // namespace ksrbac

#endif
