#ifndef KSRBAC_CLI_HELP_FORMATTER_H
#define KSRBAC_CLI_HELP_FORMATTER_H

#include <cstddef>
#include <string>

#include <CLI/CLI.hpp>

namespace ksrbac {

/// Help in sections, in the form that help2man and people expect: the usage, what the command is for, its
/// description, arguments, options, those of the whole program, examples, exit status. Text is wrapped at the
/// width; examples are not, so that they can be copied.
class HelpFormatter : public CLI::Formatter {
public:
    explicit HelpFormatter(std::size_t width);

    [[nodiscard]] std::string make_help(const CLI::App* app, std::string name,
                                        CLI::AppFormatMode mode) const override;
    [[nodiscard]] std::string make_subcommand(const CLI::App* command) const override;
    [[nodiscard]] std::string make_usage(const CLI::App* app, std::string name) const override;
    [[nodiscard]] std::string make_option_name(const CLI::Option* option, bool isPositional) const override;
    [[nodiscard]] std::string make_option_opts(const CLI::Option* option) const override;
    [[nodiscard]] std::string make_option(const CLI::Option* option, bool isPositional) const override;

private:
    const std::size_t width_;
};

/// The full name of a command: those of the commands above it, then its own.
std::string fullName(const CLI::App& app);

/// Whether the option has a value, so is not a flag.
bool takesValue(const CLI::Option& option);

} // namespace ksrbac

#endif
