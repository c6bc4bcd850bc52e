#ifndef KEEPSAFE_SERVICE_COMMANDLINE_PARSE_ARGUMENTS_H
#define KEEPSAFE_SERVICE_COMMANDLINE_PARSE_ARGUMENTS_H

#include <CLI/CLI.hpp>

namespace keepsafe_service {

/// Reads the command line; commands run meanwhile, as their callbacks. False when it asked for the help or
/// the version, which are printed. Throws `InputError` for a usage error: what is wrong, and which help says
/// more.
[[nodiscard]] bool parseArguments(CLI::App& program, int argc, const char* const* argv);

} // namespace keepsafe_service

#endif
