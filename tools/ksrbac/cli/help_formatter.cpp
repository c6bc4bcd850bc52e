#include "cli/help_formatter.h"

#include <sstream>
#include <utility>
#include <vector>

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

bool isShown(const CLI::Option& option) { return !option.get_group().empty(); }

} // namespace

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() != 0; }

std::string fullName(const CLI::App& app)
{
    const CLI::App* parent = app.get_parent();
    return parent == nullptr ? app.get_name() : fullName(*parent) + ' ' + app.get_name();
}

HelpFormatter::HelpFormatter()
{
    column_width(28);
    label("Positionals", "Arguments");
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const
{
    const std::string description = command->get_description();
    std::stringstream out;
    CLI::detail::format_help(out, command->get_name(), description.substr(0, description.find('\n')),
                             get_column_width());
    return out.str();
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name, CLI::AppFormatMode mode) const
{
    std::string text = make_usage(app, std::move(name)) + app->get_description() + '\n';
    text += make_positionals(app);
    text += make_groups(app, mode);
    for (const CLI::App* parent = app->get_parent(); parent != nullptr; parent = parent->get_parent()) {
        const auto options = parent->get_options([parent](const CLI::Option* option) {
            return isShown(*option) && !option->get_positional() && option != parent->get_help_ptr();
        });
        if (!options.empty()) {
            text += make_group("Global options", false, options);
        }
    }
    text += make_subcommands(app, mode);
    return text + '\n' + make_footer(app);
}

std::string HelpFormatter::make_usage(const CLI::App* app, std::string /*name*/) const
{
    std::string text = "Usage: " + fullName(*app) + " [OPTION]...";
    for (const CLI::Option* option : app->get_options()) {
        const bool named = option->get_required() && takesValue(*option);
        if (isShown(*option) && (option->get_positional() || named)) {
            text += ' ' + usageOfOption(*option);
        }
    }
    if (!app->get_subcommands([](const CLI::App*) { return true; }).empty()) {
        text += " COMMAND";
    }
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
