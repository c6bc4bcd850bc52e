#ifndef KEEPSAFE_SANDBOX_COMMANDS_COMMANDS_H
#define KEEPSAFE_SANDBOX_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace keepsafe_sandbox {

/// Each adds one command with its options to the program; the command runs when it was parsed.
void addCompileCommand(CLI::App& program);
void addGenerateCommand(CLI::App& program);
void addInitCommand(CLI::App& program);
void addServeCommand(CLI::App& program);
void addTokenCommand(CLI::App& program);
void addCriteriaCommand(CLI::App& program);
void addImportCommand(CLI::App& program);

} // namespace keepsafe_sandbox

#endif
