#include "generator/manual_sections.h"

#include <sstream>

#include "cli/help_formatter.h"
#include "cli/option_tree.h"
#include "commands/commands.h"

namespace ksrbac {

namespace {

/// Text as on the page, line for line, for troff: no line is taken for a request, no backslash for an escape.
std::string verbatim(const std::string& text)
{
    std::string out = ".nf\n";
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && (line.front() == '.' || line.front() == '\'')) {
            out += "\\&";
        }
        for (const char c : line) {
            if (c == '\\') {
                out += "\\e";
            } else if (c == '-') {
                out += "\\-"; // a minus sign that can be copied, not a hyphen
            } else if (c == '\'') {
                out += "\\(aq";
            } else {
                out += c;
            }
        }
        out += '\n';
    }
    return out + ".fi\n";
}

void addCommands(const CLI::App& app, std::string& out)
{
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (command->get_group().empty()) {
            continue; // hidden
        }
        out += ".SS \"" + fullName(*command) + "\"\n" + verbatim(command->help());
        addCommands(*command, out);
    }
}

} // namespace

std::string manualSections()
{
    OptionTree tree(commandTable());
    std::string out =
        "[NAME]\nksrbac \\- ask for access decisions, and manage roles, objects and grants\n\n[COMMANDS]\n";
    addCommands(tree.app(), out);
    out += "\n[FILES]\n"
           "All paths are below the installation root, /usr/kshome unless \\-\\-root says otherwise.\n"
           ".TP\n.I etc/keepsafe.toml\nThe configuration: where log messages go, from which level on, and "
           "the database.\n"
           ".TP\n.I wmc/webserver/temp/access\\-caches/ID\nThe access caches.\n"
           ".TP\n.I wmc/webserver/temp/operation\\-cache.json\nThe operation cache.\n"
           ".TP\n.I var/global/tssec/jwtkeys/jwtPublicKey\nThe public key that session tokens must be signed "
           "with.\n";
    return out;
}

} // namespace ksrbac
