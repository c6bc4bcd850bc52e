#ifndef KSRBAC_CLI_HELP_FORMATTER_H
#define KSRBAC_CLI_HELP_FORMATTER_H

#include <string>

#include <CLI/CLI.hpp>

namespace ksrbac {

/// Help in the form that help2man and people are used to: the usage first, `-h, --help` with a space, the
/// options of the whole program below those of a command.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    [[nodiscard]] std::string make_help(const CLI::App* app, std::string name,
                                        CLI::AppFormatMode mode) const override;
    [[nodiscard]] std::string make_subcommand(const CLI::App* command) const override;
    [[nodiscard]] std::string make_usage(const CLI::App* app, std::string name) const override;
    [[nodiscard]] std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override;
};

/// The name under which a command is called: those of the commands above it, then its own.
std::string fullName(const CLI::App& app);

/// Whether the option is one with a value, and no flag.
bool takesValue(const CLI::Option& option);

} // namespace ksrbac

#endif
