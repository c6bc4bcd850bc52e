#ifndef KSRBAC_CLI_HELP_FORMATTER_H
#define KSRBAC_CLI_HELP_FORMATTER_H

#include <string>

#include <CLI/CLI.hpp>

namespace ksrbac {

/// Help in the form that help2man and people expect: the usage first, `-h, --help` with a space, the options
/// of the whole program below those of a command.
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

/// The full name of a command: those of the commands above it, then its own.
std::string fullName(const CLI::App& app);

/// Whether the option has a value, so is not a flag.
bool takesValue(const CLI::Option& option);

} // namespace ksrbac

#endif
