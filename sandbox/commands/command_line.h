#ifndef KEEPSAFE_SANDBOX_COMMANDS_COMMAND_LINE_H
#define KEEPSAFE_SANDBOX_COMMANDS_COMMAND_LINE_H

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

namespace keepsafe_sandbox {

/// The program with all of its commands: the parser, the help, the manual page and the completion are made
/// from it.
[[nodiscard]] std::unique_ptr<CLI::App> sandboxCommandLine(const std::string& version);

} // namespace keepsafe_sandbox

#endif
