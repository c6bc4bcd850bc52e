#include "commandline/command_tree.h"

#include <algorithm>

namespace keepsafe_service {

namespace {

ValueKind kindOf(const CLI::Option& option)
{
    if (option.get_items_expected_max() == 0) {
        return ValueKind::None;
    }
    const std::string type = option.get_type_name();
    const auto has = [&type](const char* part) { return type.find(part) != std::string::npos; };
    if (has("DIR")) {
        return ValueKind::Folder;
    }
    return has("FILE") || has("POLICY") ? ValueKind::File : ValueKind::Any;
}

OptionEntry entryOf(const CLI::Option& option)
{
    OptionEntry entry;
    for (const std::string& name : option.get_snames()) {
        entry.names.push_back('-' + name);
    }
    for (const std::string& name : option.get_lnames()) {
        entry.names.push_back("--" + name);
    }
    entry.kind = kindOf(option);
    entry.value = entry.kind == ValueKind::None ? "" : option.get_type_name();
    entry.description = option.get_description();
    entry.isRequired = option.get_required();
    return entry;
}

void addTo(std::vector<CommandEntry>& tree, const CLI::App& app, const std::vector<std::string>& words)
{
    CommandEntry entry;
    entry.words = words;
    entry.description = app.get_description();
    entry.footer = app.get_footer();
    for (const CLI::Option* option : app.get_options()) {
        entry.options.push_back(entryOf(*option));
    }
    const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    for (const CLI::App* command : commands) {
        entry.commands.push_back(command->get_name());
    }
    tree.push_back(std::move(entry));
    for (const CLI::App* command : commands) {
        std::vector<std::string> below = words;
        below.push_back(command->get_name());
        addTo(tree, *command, below);
    }
}

} // namespace

std::vector<CommandEntry> commandTree(const CLI::App& program)
{
    std::vector<CommandEntry> tree;
    addTo(tree, program, {});
    return tree;
}

std::string spelled(const std::vector<std::string>& words)
{
    std::string text;
    for (const std::string& word : words) {
        text += ' ' + word;
    }
    return text;
}

std::string joined(const std::vector<std::string>& words)
{
    return words.empty() ? "" : spelled(words).substr(1);
}

std::vector<std::string> optionNames(const CommandEntry& command)
{
    std::vector<std::string> names;
    for (const OptionEntry& option : command.options) {
        names.insert(names.end(), option.names.begin(), option.names.end());
    }
    return names;
}

std::string functionName(const CLI::App& program)
{
    std::string name = '_' + program.get_name();
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

} // namespace keepsafe_service
