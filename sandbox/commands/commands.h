#ifndef KEEPSAFE_SANDBOX_COMMANDS_COMMANDS_H
#define KEEPSAFE_SANDBOX_COMMANDS_COMMANDS_H

#include <CLI/CLI.hpp>

namespace keepsafe_sandbox {

/// Exit statuses of the program.
constexpr int EXIT_DONE = 0;
constexpr int EXIT_NOT_PUBLISHED = 1; ///< the system or the library refused a step
constexpr int EXIT_BAD_INPUT = 2;     ///< usage, or a document that cannot be used

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
