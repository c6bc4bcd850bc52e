#ifndef KEEPSAFE_SERVICE_COMMANDLINE_COMMAND_TREE_H
#define KEEPSAFE_SERVICE_COMMANDLINE_COMMAND_TREE_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace keepsafe_service {

/// What is completed as the value of an option or an argument.
enum class ValueKind { None, Any, File, Folder };

struct OptionEntry {
    std::vector<std::string> names; ///< with their dashes; empty for an argument
    std::string value;              ///< its name in the help; empty for a flag
    ValueKind kind;
    std::string description;
    bool isRequired;
};

/// The program itself, or one of its commands.
struct CommandEntry {
    std::vector<std::string> words; ///< without the program's name
    std::string description;
    std::string footer;
    std::vector<OptionEntry> options;
    std::vector<std::string> commands; ///< directly below it
};

/// The program first, each command before those below it.
[[nodiscard]] std::vector<CommandEntry> commandTree(const CLI::App& program);

/// The words with a blank before each: "" for the program.
[[nodiscard]] std::string spelled(const std::vector<std::string>& words);

/// All words, with blanks between them.
[[nodiscard]] std::string joined(const std::vector<std::string>& words);

/// All options' names and commands' names among which the user chooses.
[[nodiscard]] std::vector<std::string> optionNames(const CommandEntry& command);

/// The program's name as part of a function's name.
[[nodiscard]] std::string functionName(const CLI::App& program);

} // namespace keepsafe_service

#endif
