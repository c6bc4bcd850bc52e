#include "commandline/command_tree.h"
#include "commandline/documents.h"

namespace keepsafe_service {

namespace {

/// A text in single quotes.
std::string quotedForFish(const std::string& text)
{
    std::string out = "'";
    for (const char c : text) {
        out += std::string(c == '\'' || c == '\\' ? "\\" : "") + c;
    }
    return out + "'";
}

/// True where the command's words are on the line, and none of those below it.
std::string condition(const CommandEntry& command)
{
    std::string text;
    for (const std::string& word : command.words) {
        text += (text.empty() ? "" : "; and ") + ("__fish_seen_subcommand_from " + word);
    }
    if (!command.commands.empty()) {
        text += std::string(text.empty() ? "" : "; and ") + "not __fish_seen_subcommand_from " +
                joined(command.commands);
    }
    return text.empty() ? "" : " -n " + quotedForFish(text);
}

std::string optionLine(const std::string& begin, const OptionEntry& option)
{
    std::string text = begin;
    for (const std::string& name : option.names) {
        const bool isLong = name.compare(0, 2, "--") == 0;
        text += isLong ? " -l " + name.substr(2) : " -s " + name.substr(1);
    }
    switch (option.kind) {
    case ValueKind::None:
        break;
    case ValueKind::Any:
        text += " -x";
        break;
    case ValueKind::File:
        text += option.names.empty() ? " -F" : " -r -F";
        break;
    case ValueKind::Folder:
        text += " -x -a '(__fish_complete_directories)'";
        break;
    }
    return text + (option.names.empty() ? "" : " -d " + quotedForFish(option.description)) + '\n';
}

} // namespace

std::string fishCompletion(const CLI::App& program)
{
    std::string text = "# fish completion for " + program.get_name() +
                       ", made from its options\ncomplete -c " + program.get_name() + " -f\n";
    const std::vector<CommandEntry> tree = commandTree(program);
    for (const CommandEntry& command : tree) {
        const std::string begin = "complete -c " + program.get_name() + condition(command);
        for (const CommandEntry& below : tree) {
            if (!below.words.empty() &&
                std::vector<std::string>(below.words.begin(), below.words.end() - 1) == command.words) {
                text +=
                    begin + " -a " + below.words.back() + " -d " + quotedForFish(below.description) + '\n';
            }
        }
        for (const OptionEntry& option : command.options) {
            text += optionLine(begin, option);
        }
    }
    return text;
}

} // namespace keepsafe_service
