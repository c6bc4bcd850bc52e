#ifndef KSRBAC_CLI_COMMAND_LINE_H
#define KSRBAC_CLI_COMMAND_LINE_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/Command.h"
#include "io/Terminal.h"

namespace ksrbac {

/// Accepted before and after the command.
struct GlobalOptions {
    std::optional<std::string> root;
    bool json = false;
    std::optional<int> logLevel;
    ColourChoice colour = ColourChoice::Auto;
    /// How long to wait for a lock that a writer holds; nothing: without end.
    std::optional<std::size_t> waitSeconds;
    bool detailedExitStatus = false;
};

struct Invocation {
    GlobalOptions global;
    Action action;
    /// The help or the version, to be printed instead of running a command. Empty: neither was requested.
    std::string programText;
};

/// Reads the arguments, the program's name not among them. Help is made for lines of `width` columns. Throws
/// `InputError` for a usage error.
Invocation parseCommandLine(const std::vector<std::string>& arguments, const CommandTable& commands,
                            std::size_t width = Terminal::USUAL_WIDTH);

} // namespace ksrbac

#endif
