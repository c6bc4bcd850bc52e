#ifndef KEEPSAFE_SERVICE_COMMANDLINE_DOCUMENTS_H
#define KEEPSAFE_SERVICE_COMMANDLINE_DOCUMENTS_H

#include <string>

#include <CLI/CLI.hpp>

/// \file
/// What is installed beside a program, made from its own options and commands.

namespace keepsafe_service {

/// The manual page, for section 1. `version` is that of the package.
[[nodiscard]] std::string manualPage(const CLI::App& program, const std::string& version);

/// Completion scripts: commands, options, and values that are files or folders.
[[nodiscard]] std::string bashCompletion(const CLI::App& program);
[[nodiscard]] std::string zshCompletion(const CLI::App& program);
[[nodiscard]] std::string fishCompletion(const CLI::App& program);

} // namespace keepsafe_service

#endif
