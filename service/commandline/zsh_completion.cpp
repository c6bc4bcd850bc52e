#include "commandline/command_tree.h"
#include "commandline/documents.h"

namespace keepsafe_service {

namespace {

/// For a text in single quotes that _arguments reads: quotes, brackets and colons mean something to it.
std::string zshEscaped(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (c == '\'') {
            out += "'\\''";
        } else {
            out += std::string(c == '[' || c == ']' || c == ':' || c == '\\' ? "\\" : "") + c;
        }
    }
    return out;
}

std::string valueOf(const OptionEntry& option)
{
    const std::string action = option.kind == ValueKind::Folder ? "_files -/"
                               : option.kind == ValueKind::File ? "_files"
                                                                : " ";
    return option.kind == ValueKind::None ? "" : ":" + zshEscaped(option.value) + ":" + action;
}

std::string arguments(const CommandEntry& command)
{
    std::string text = "_arguments";
    for (const OptionEntry& option : command.options) {
        for (const std::string& name : option.names) {
            text += " \\\n            '" + name + "[" + zshEscaped(option.description) + "]" +
                    valueOf(option) + "'";
        }
        if (option.names.empty()) {
            text += " \\\n            '" + valueOf(option) + "'";
        }
    }
    if (!command.commands.empty()) {
        text += " \\\n            ':command:(" + joined(command.commands) + ")'";
    }
    return text;
}

} // namespace

std::string zshCompletion(const CLI::App& program)
{
    const std::string function = functionName(program);
    std::string commands;
    std::string cases;
    for (const CommandEntry& command : commandTree(program)) {
        const std::string path = spelled(command.words);
        commands += path.empty() ? "" : (commands.empty() ? "'" : "|'") + path + "'";
        cases += "    '" + path + "')\n        " + arguments(command) + "\n        ;;\n";
    }
    const std::string walk = commands.empty() ? ""
                                              : "    while (( CURRENT > 2 )); do\n"
                                                "        case \"$command $words[2]\" in\n"
                                                "        (" +
                                                    commands +
                                                    ")\n"
                                                    "            command=\"$command $words[2]\"\n"
                                                    "            shift words\n"
                                                    "            (( CURRENT-- ))\n"
                                                    "            ;;\n"
                                                    "        (*) break ;;\n"
                                                    "        esac\n"
                                                    "    done\n";
    return "#compdef " + program.get_name() + "\n# made from the program's options\n" + function +
           "() {\n    local command=''\n" + walk + "    case $command in\n" + cases + "    esac\n}\n" +
           function + " \"$@\"\n";
}

} // namespace keepsafe_service
