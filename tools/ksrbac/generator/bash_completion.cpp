#include "generator/bash_completion.h"

#include <string>
#include <vector>

#include "cli/help_formatter.h"
#include "cli/option_tree.h"
#include "commands/commands.h"

namespace ksrbac {

namespace {

// What does not depend on the options. The tables above it are indexed by the command as it is called
// ("ksrbac cache verify") and give words to choose from; _values and _operands name the kind of value.
constexpr char ENGINE[] = R"bash(
_ksrbac_caches() {
    local root=$1 current=$2 directory
    for directory in "$root"/wmc/webserver/temp/access-caches/"$current"*/; do
        [[ -d $directory ]] || continue
        directory=${directory%/}
        COMPREPLY+=("${directory##*/}")
    done
}

_ksrbac_value() {
    local kind=$1 current=$2 root=$3
    case $kind in
    ID_OR_DIR)
        _ksrbac_caches "$root" "$current"
        mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -S / -- "$current")
        compopt -o nospace 2>/dev/null
        ;;
    DIR)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    'FILE|-')
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
        compopt -o filenames 2>/dev/null
        ;;
    CMD)
        mapfile -t COMPREPLY < <(compgen -c -- "$current")
        ;;
    PROPAGATION)
        mapfile -t COMPREPLY < <(compgen -W 'OBJECT CHILDREN OBJECT_AND_CHILDREN' -- "$current")
        ;;
    'on|off')
        mapfile -t COMPREPLY < <(compgen -W 'on off' -- "$current")
        ;;
    esac
}

_ksrbac() {
    local current=${COMP_WORDS[COMP_CWORD]} command=ksrbac root=/usr/kshome option='' word i
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ -n $option && $word == = ]]; then
            continue
        elif [[ -n $option ]]; then
            [[ $option == --root ]] && root=${word/#\~/$HOME}
            option=''
        elif [[ $word == -* ]]; then
            [[ -n ${_ksrbac_values[$command $word]} ]] && option=$word
        elif [[ " ${_ksrbac_commands[$command]} " == *" $word "* ]]; then
            command+=" $word"
        fi
    done
    [[ $current == = ]] && current=''
    if [[ -n $option ]]; then
        _ksrbac_value "${_ksrbac_values[$command $option]}" "$current" "$root"
    elif [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${_ksrbac_options[$command]}" -- "$current")
    elif [[ -n ${_ksrbac_commands[$command]} ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${_ksrbac_commands[$command]}" -- "$current")
    else
        _ksrbac_value "${_ksrbac_operands[$command]}" "$current" "$root"
    fi
}

complete -F _ksrbac ksrbac
)bash";

struct Tables {
    std::string commands;
    std::string options;
    std::string values;
    std::string operands;
};

std::string entry(const std::string& key, const std::string& value)
{
    return "    ['" + key + "']='" + value + "'\n";
}

std::vector<std::string> dashedNames(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back('-' + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

/// The options of `from` as options of the command called `name`.
void addOptions(const std::string& name, const CLI::App& from, std::string& words, Tables& tables)
{
    for (const CLI::Option* option : from.get_options()) {
        for (const std::string& dashed : dashedNames(*option)) {
            const bool known = (' ' + words + ' ').find(' ' + dashed + ' ') != std::string::npos;
            if (known) {
                continue; // the command's own --help replaces that of the commands above it
            }
            words.append(words.empty() ? "" : " ").append(dashed);
            if (takesValue(*option)) {
                tables.values +=
                    entry(std::string(name).append(1, ' ').append(dashed), option->get_type_name());
            }
        }
    }
}

void addCommand(const CLI::App& app, Tables& tables)
{
    const std::string name = fullName(app);
    std::string options;
    for (const CLI::App* from = &app; from != nullptr; from = from->get_parent()) {
        addOptions(name, *from, options, tables);
    }
    tables.options += entry(name, options);
    for (const CLI::Option* option : app.get_options()) {
        if (option->get_positional()) {
            tables.operands += entry(name, option->get_type_name());
        }
    }
    std::string commands;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        commands += (commands.empty() ? "" : " ") + command->get_name();
        addCommand(*command, tables);
    }
    if (!commands.empty()) {
        tables.commands += entry(name, commands);
    }
}

std::string declare(const std::string& name, const std::string& entries)
{
    return "declare -gA " + name + "=(\n" + entries + ")\n";
}

} // namespace

std::string bashCompletion()
{
    OptionTree tree(commandTable());
    Tables tables;
    addCommand(tree.app(), tables);
    return "# bash completion for ksrbac, generated from its option tree\n" +
           declare("_ksrbac_commands", tables.commands) + declare("_ksrbac_options", tables.options) +
           declare("_ksrbac_values", tables.values) + declare("_ksrbac_operands", tables.operands) + ENGINE;
}

} // namespace ksrbac
