#include "cli/help_formatter.h"

#include <utility>
#include <vector>

#include "cli/text_layout.h"

namespace ksrbac {

namespace {

std::string usageOfOption(const CLI::Option& option)
{
    std::string text = option.get_positional() ? option.get_name(true, false)
                                               : option.get_name() + ' ' + option.get_type_name();
    if (option.get_positional() && option.get_expected_max() > 1) {
        text += "...";
    }
    return option.get_required() ? text : '[' + text + ']';
}

constexpr std::size_t EXIT_STATUS_COLUMN = 5;

bool isShown(const CLI::Option& option) { return !option.get_group().empty(); }

} // namespace

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

std::string fullName(const CLI::App& app)
{
    const CLI::App* parent = app.get_parent();
    return parent == nullptr ? app.get_name() : fullName(*parent) + ' ' + app.get_name();
}

HelpFormatter::HelpFormatter(std::size_t width) : width_(width)
{
    constexpr std::size_t NARROW = 60;
    column_width(width < NARROW ? 8 : 28);
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const
{
    return inColumns(make_option_name(option, isPositional) + make_option_opts(option),
                     make_option_desc(option), get_column_width(), width_);
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const
{
    constexpr std::size_t COLUMN = 16;
    return inColumns(command->get_name(), Description(command->get_description()).summary, COLUMN, width_);
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const
{
    const Description description(app->get_description());
    const bool isGroup = !app->get_subcommands([](const CLI::App*) { return true; }).empty();
    std::string text = make_usage(app, std::move(name)) + '\n' + wrapped(description.summary, 0, width_);
    if (!description.body.empty()) {
        text += isGroup ? '\n' + wrappedParagraphs(description.body, 0, width_)
                        : "\nDescription:\n" + wrappedParagraphs(description.body, 2, width_);
    }
    text += make_subcommands(app, mode) + make_positionals(app) + make_groups(app, mode);
    for (const CLI::App* parent = app->get_parent(); parent != nullptr; parent = parent->get_parent()) {
        const auto options = parent->get_options([parent](const CLI::Option* option) {
            return isShown(*option) && !option->get_positional() && option != parent->get_help_ptr();
        });
        if (!options.empty()) {
            text += make_group("Global options", false, options);
        }
    }
    text += '\n' + make_footer(app);
    if (!description.exitStatuses.empty()) {
        text += "\nExit status:\n";
        for (const auto& [status, meaning] : description.exitStatuses) {
            text += inColumns(status, meaning, EXIT_STATUS_COLUMN, width_);
        }
    }
    return text;
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string /*name*/) const
{
    std::string operands;
    for (const CLI::Option* option : app->get_options()) {
        const bool named = option->get_required() && takesValue(*option);
        if (isShown(*option) && (option->get_positional() || named)) {
            operands += ' ' + usageOfOption(*option);
        }
    }
    const bool hasCommands = !app->get_subcommands([](const CLI::App*) { return true; }).empty();
    const std::string text =
        "Usage: " + fullName(*app) + " [OPTION]..." + operands + (hasCommands ? " COMMAND" : "");
    return text + '\n';
}

std::string HelpFormatter::make_option_name(const CLI::Option* option, bool isPositional) const
{
    if (isPositional) {
        return option->get_name(true, false);
    }
    std::string names;
    for (const std::string& name : option->get_snames()) {
        names += (names.empty() ? "-" : ", -") + name;
    }
    for (const std::string& name : option->get_lnames()) {
        names += (names.empty() ? "--" : ", --") + name;
    }
    return names;
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const
{
    if (option->get_positional()) {
        return option->get_expected_max() > 1 ? "..." : "";
    }
    return takesValue(*option) ? ' ' + option->get_type_name() : "";
}

} // namespace ksrbac
