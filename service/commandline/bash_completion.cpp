#include "commandline/command_tree.h"
#include "commandline/documents.h"

namespace keepsafe_service {

namespace {

// What does not depend on the program, whose functions are FUNCTION_words, with the words to choose from
// behind a command, and FUNCTION_value, with the kind of an option's value or of the argument.
constexpr char ENGINE[] = R"bash(
FUNCTION() {
    local current=${COMP_WORDS[COMP_CWORD]} command='' option='' kind='' word i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -n $option && $word == = ]]; then
            continue
        elif [[ -n $option ]]; then
            option=''
        elif [[ $word == -* ]]; then
            [[ -n $(FUNCTION_value "$command" "$word") ]] && option=$word
        elif [[ " $(FUNCTION_words "$command") " == *" $word "* ]]; then
            command+=" $word"
        fi
    done
    [[ $current == = ]] && current=''
    if [[ -n $option || $current != -* ]]; then
        kind=$(FUNCTION_value "$command" "$option")
    fi
    case $kind in
    folder)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    file)
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    esac
    if [[ -z $option ]]; then
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -W "$(FUNCTION_words "$command")" -- "$current")
    fi
}

complete -F FUNCTION PROGRAM
)bash";

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
    return text;
}

const char* textOf(ValueKind kind)
{
    switch (kind) {
    case ValueKind::Folder:
        return "folder";
    case ValueKind::File:
        return "file";
    case ValueKind::Any:
        return "any";
    case ValueKind::None:
        break;
    }
    return "";
}

} // namespace

std::string bashCompletion(const CLI::App& program)
{
    const std::string function = functionName(program);
    std::string words = function + "_words() {\n    case $1 in\n";
    std::string values = function + "_value() {\n    case \"$1 $2\" in\n";
    for (const CommandEntry& command : commandTree(program)) {
        std::vector<std::string> choice = command.commands;
        const std::vector<std::string> names = optionNames(command);
        choice.insert(choice.end(), names.begin(), names.end());
        const std::string path = spelled(command.words);
        words += "    '" + path + "') echo '" + joined(choice) + "' ;;\n";
        for (const OptionEntry& option : command.options) {
            if (option.kind == ValueKind::None) {
                continue;
            }
            const std::vector<std::string> keys =
                option.names.empty() ? std::vector<std::string>{""} : option.names;
            for (const std::string& name : keys) {
                values.append("    '").append(path).append(" ").append(name);
                values.append("') echo ").append(textOf(option.kind)).append(" ;;\n");
            }
        }
    }
    const std::string end = "    esac\n}\n";
    return "# bash completion for " + program.get_name() + ", made from its options\n" + words + end +
           values + end + replaced(replaced(ENGINE, "FUNCTION", function), "PROGRAM", program.get_name());
}

} // namespace keepsafe_service
