#ifndef KSRBAC_CLI_OPTION_TREE_H
#define KSRBAC_CLI_OPTION_TREE_H

#include <CLI/CLI.hpp>

#include "cli/Command.h"
#include "cli/command_line.h"

namespace ksrbac {

/// The commands of a table with their options, and the options of the whole program: the parser, the help,
/// the manual page and the shell completion are all made from it.
class OptionTree {
public:
    /// Help has lines of `width` columns.
    explicit OptionTree(const CommandTable& commands, std::size_t width = Terminal::USUAL_WIDTH);
    OptionTree(const OptionTree&) = delete;
    OptionTree& operator=(const OptionTree&) = delete;

    [[nodiscard]] CLI::App& app() noexcept { return app_; }
    [[nodiscard]] const GlobalOptions& globalOptions() const noexcept { return global_; }
    /// The action of the command that was parsed.
    [[nodiscard]] const Action& action() const noexcept { return action_; }

private:
    void addGlobalOptions();
    void addCommand(const CommandRow& row);

    CLI::App app_;
    GlobalOptions global_;
    Action action_;
};

} // namespace ksrbac

#endif
