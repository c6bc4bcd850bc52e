#ifndef KSRBAC_CLI_USAGE_ERROR_H
#define KSRBAC_CLI_USAGE_ERROR_H

#include <string>

#include <CLI/CLI.hpp>

namespace ksrbac {

/// The innermost command that was named: the one whose help is wanted.
const CLI::App& namedCommand(const CLI::App& app);

/// What is wrong with a command line that `app`, the whole program, could not parse: a command or an option
/// that does not exist, with those that are similar to it, or what the parser says. The second line names the
/// help of the command.
std::string usageError(const CLI::App& app, const CLI::ParseError& error);

} // namespace ksrbac

#endif
