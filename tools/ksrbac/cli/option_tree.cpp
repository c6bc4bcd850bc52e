#include "cli/option_tree.h"

#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "cli/help_formatter.h"
#include "cli/options.h"
#include "output/escape.h"
#include "version.h"

namespace ksrbac {

namespace {

constexpr char PROGRAM_DESCRIPTION[] =
    R"(Ask for access decisions, examine caches and tokens, and manage the service.

Run 'ksrbac COMMAND --help' for more on a command.

Exit status: 0 all allowed; no fault found; valid; listed; done, 1 some denied;
faults found; not valid, 2 usage error, or an input that is malformed or cannot
be read, 3 the library reported a status or failed; the service refused, 4
standard output could not be written.

With --detailed-exit-status, in place of 3: 5 the service does not know what was
asked about, 6 the service refused, 7 the service could not be reached, 8 the
cache is missing, damaged, interrupted or locked.)";

constexpr char PROGRAM_EXAMPLES[] = R"(Examples:
  ksrbac check --operation '|OPERATIONS|VIEW|' --roles Auditor '|STORAGE|'
  ksrbac who-can '|OPERATIONS|RESTORE|' '|KEEPSAFE|ASSETS|'
  ksrbac role list)";

ColourChoice colourOf(const std::string& text)
{
    static const std::map<std::string, ColourChoice> choices{
        {"auto", ColourChoice::Auto}, {"always", ColourChoice::Always}, {"never", ColourChoice::Never}};
    const auto choice = choices.find(text);
    if (choice == choices.end()) {
        throw CLI::ValidationError("--color", "neither auto, always nor never: " + escapeForMessage(text));
    }
    return choice->second;
}

/// The heading of the command in the list of those beside it. The parser hides what has none.
const char* groupOf(const CommandRow& row)
{
    const bool isInOverview = std::strchr(row.name, ' ') == nullptr && row.purpose != nullptr;
    return row.isHidden ? "" : isInOverview ? row.purpose : "Commands";
}

} // namespace

OptionTree::OptionTree(const CommandTable& commands, std::size_t width) : app_(PROGRAM_DESCRIPTION, "ksrbac")
{
    app_.formatter(std::make_shared<HelpFormatter>(width));
    app_.set_help_flag("-h,--help", "Show this help and exit");
    app_.footer(PROGRAM_EXAMPLES);
    app_.require_subcommand(1);
    app_.fallthrough();
    addGlobalOptions();
    for (const CommandRow& row : commands) {
        addCommand(row);
    }
}

void OptionTree::addGlobalOptions()
{
    app_.set_version_flag("--version", "ksrbac (keepsafe-rbac) " KSRBAC_VERSION, "Show the version and exit");
    addOptional(app_, "--root", global_.root, value_name::DIRECTORY,
                "Installation root in place of /usr/kshome");
    addFlag(app_, "--json", global_.json, "Print results and messages as JSON, one object per\nline");
    app_.add_option("--log-level", global_.logLevel,
                    "Log from level N on: 2 debug, 4 information,\n8 notable, 16 errors; 4 and 2 also show "
                    "messages\nof the token and database code")
        ->type_name("N");
    addOptional(app_, "--wait", global_.waitSeconds, "SECONDS",
                "Wait that long for a lock that a writer holds, not\nwithout end");
    addFlag(app_, "--detailed-exit-status", global_.detailedExitStatus,
            "Exit with 5 to 8 in place of 3 where the cause is\nknown");
    app_.add_option_function<std::string>(
            "--color", [this](const std::string& text) { global_.colour = colourOf(text); },
            "When to print in colours: auto is on a terminal,\nunless NO_COLOR is set")
        ->type_name(value_name::COLOUR);
}

void OptionTree::addCommand(const CommandRow& row)
{
    const std::string name = row.name;
    const std::size_t space = name.find(' ');
    CLI::App& above = space == std::string::npos ? app_ : *app_.get_subcommand(name.substr(0, space));
    CLI::App* command = above.add_subcommand(name.substr(space + 1)); // npos + 1 is 0
    command->group(groupOf(row));
    if (row.add != nullptr) {
        command->callback([this, action = row.add(*command)] { action_ = action; });
    } else {
        describe(*command, row.groupDescription, std::string("Example:\n  ") + row.groupExample);
        command->require_subcommand(1);
    }
}

} // namespace ksrbac
