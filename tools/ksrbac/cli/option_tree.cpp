#include "cli/option_tree.h"

#include <memory>
#include <string>

#include "cli/help_formatter.h"
#include "output/escape.h"
#include "version.h"

namespace ksrbac {

namespace {

constexpr char PROGRAM_FOOTER[] =
    R"(Run 'ksrbac COMMAND --help' for more on a command.

Exit status:
  0    all allowed; no fault found; valid; listed; done
  1    some denied; faults found; not valid
  2    usage error, or an input that is malformed or cannot be read
  3    the library reported a status or failed; the service refused
  4    standard output could not be written

Example:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17 '|STORAGE|')";

constexpr char CHECK_DESCRIPTION[] =
    R"(Decide whether roles may perform an operation on objects.

Whose roles: those of --roles, or those of the owner of a session token, which
--session-token-file reads from a file or from standard input. The token is
verified and its roles are looked up in the database as in every process of the
product; a token that is not valid, has expired or is not known to the database
ends the command with 3. Exactly one of the two options is needed.

Who decides: with --cache that access cache, whether or not enforcement is
switched on. Without it the answer is that of a process of the product: where
enforcement (feature 1 of the configuration) is on, the access-control service
is asked once which access cache serves the namespace of --for, and that cache
decides; where it is off, everything is allowed, neither roles nor tokens are
looked at, and a note on standard error says so.

Prints one line per object, in order: "allow" or "deny", a tab, and the object
as it was given. With --json it prints {"object":...,"operation":...,
"allowed":...} with the object in its canonical text form. Objects given as
arguments come first, then those of --objects-from.

An object is allowed when one of the roles holds the operation on it. Operations
come from the installation's operation cache; one that it does not know is
denied everywhere. Role 0 is allowed everything, and no role nothing.

A line of the file is one object to the last byte: white space around it, a
carriage return or nothing at all on a line make it malformed. Malformed objects
are told on standard error with their line number, and the others are still
answered.

Exit status: 0 all allowed, 1 some denied, 2 usage error, or an input that is
malformed or cannot be read, 3 the library reported a status or failed: it is
told on standard error, and objects that got no line were not decided, 4
standard output could not be written.)";

constexpr char CHECK_FOOTER[] =
    R"(Examples:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17,3 \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --cache ./cache --operation '|OPERATIONS|VIEW|' --roles=-5,3 \
    --objects-from objects.txt
  ksrbac check --operation '|OPERATIONS|VIEW|' --session-token-file token \
    '|KEEPSAFE|PROTECTION|'
  ksrbac check --for '|STORAGE|' --operation '|OPERATIONS|VIEW|' --roles 17 \
    '|STORAGE|disk-01|')";

constexpr char CACHE_FOOTER[] = R"(Example:
  ksrbac cache verify main)";

constexpr char INFO_DESCRIPTION[] =
    R"(Show what an access cache holds.

Shows its namespace, counts, file sizes and depths, and the fragmentation: the
share of records that nothing refers to, left over from earlier writes or set
aside for later ones.

Holds the cache's shared file lock while it walks the whole cache: readers are
not kept waiting, a writer is.

Exit status: 0 shown, damaged or not, 2 usage error or a cache that cannot be
read, 4 standard output could not be written.)";

constexpr char INFO_FOOTER[] = R"(Example:
  ksrbac cache info main)";

constexpr char VERIFY_DESCRIPTION[] =
    R"(Look for damage in an access cache.

Checks every offset, the order of every search tree, cycles, the
write-in-progress flag and the manifest. Prints each fault with its file, the
byte in the file and how the record was reached.

Records that nothing refers to are legal and counted. An offset that points
inside a record stands for that record and is legal. Bytes after the last whole
record of a file are ignored by readers; they are noted and no fault.

Holds the cache's shared file lock while it walks the whole cache, about a
second for a million objects, so that no writer changes the files under it:
readers are not kept waiting, a writer is.

Exit status: 0 no fault, 1 faults, 2 usage error or a cache that cannot be read,
4 standard output could not be written.)";

constexpr char VERIFY_FOOTER[] = R"(Example:
  ksrbac cache verify main && echo sound)";

constexpr char OPERATIONS_DESCRIPTION[] =
    R"(List the operations of the operation cache.

Prints each operation of the installation with its permission bit, by bit, from
the file that checks on this host use. 'ksrbac operation list' asks the service
instead, which knows operations that this host has not heard of yet.

Exit status: 0 listed, 2 usage error, 3 the library reported a status or failed,
4 standard output could not be written.)";

constexpr char OPERATIONS_FOOTER[] = R"(Example:
  ksrbac operations --json)";

/// The parser would take -1, and numbers that do not fit, for the largest number.
std::string requireDigits(const std::string& text)
{
    constexpr std::size_t mostDigits = 18; // fit 64 bits whatever they are
    const bool isNumber = !text.empty() && text.size() <= mostDigits &&
                          text.find_first_not_of("0123456789") == std::string::npos;
    return isNumber ? "" : "not a number: " + escapeForMessage(text);
}

} // namespace

CLI::App* addCommand(CLI::App& parent, const char* name, const char* description, const char* footer)
{
    CLI::App* command = parent.add_subcommand(name, description);
    command->group("Commands");
    command->footer(footer);
    return command;
}

OptionTree::OptionTree()
    : app_("Ask for access decisions, examine caches and tokens, and manage the service.", "ksrbac")
{
    app_.formatter(std::make_shared<HelpFormatter>());
    app_.set_help_flag("-h,--help", "Show this help and exit");
    app_.footer(PROGRAM_FOOTER);
    app_.require_subcommand(1);
    app_.fallthrough();
    addGlobalOptions();
    addCheck();
    addCache();
    addOperations();
    addToken();
    addRole();
    addObject();
    addAccess();
    addOperation();
}

void OptionTree::addGlobalOptions()
{
    app_.set_version_flag("--version", "ksrbac (keepsafe-rbac) " KSRBAC_VERSION, "Show the version and exit");
    app_.add_option("--root", parsed_.global.root, "Installation root in place of /usr/kshome")
        ->type_name(value_name::DIRECTORY);
    app_.add_flag("--json", parsed_.global.json, "Print results as JSON, one object per line");
    app_.add_option("--log-level", parsed_.global.logLevel,
                    "Log from level N on: 2 debug, 4 information,\n8 notable, 16 errors; 4 and 2 show what "
                    "the token\nand database code has to say, too")
        ->type_name("N");
}

void OptionTree::addCheck()
{
    CLI::App* command = addCommand(app_, "check", CHECK_DESCRIPTION, CHECK_FOOTER);
    command->add_option("--cache", check_.cache, "Cache: a directory if it has a slash, else an id")
        ->type_name(value_name::CACHE);
    command
        ->add_option("--for", check_.coveredBy,
                     "Namespace whose access cache is asked for in place\nof |, without --cache")
        ->type_name("NS");
    command->add_option("--operation", check_.operation, "Namespace of the operation")
        ->type_name("NS")
        ->required();
    command
        ->add_option("--roles", check_.roles,
                     "Role ids, as in 17,3; --roles=-5,3 for negative\nones, --roles= for none")
        ->type_name("IDS");
    command
        ->add_option("--session-token-file", check_.sessionTokenFile,
                     "Ask for the roles of the session token in a\nfile; - is standard input")
        ->type_name(value_name::FILE_OR_STDIN);
    command->add_option("--objects-from", check_.objectsFrom, "Read objects by line; - is standard input")
        ->type_name(value_name::FILE_OR_STDIN);
    command->add_option("OBJECT", check_.objects, "Namespaces of objects")->type_name("NS");
    command->callback([this] { parsed_.command = check_; });
}

void OptionTree::addCache()
{
    CLI::App* cache = addCommand(app_, "cache", "Examine an access cache.", CACHE_FOOTER);
    cache->require_subcommand(1);

    CLI::App* info = addCommand(*cache, "info", INFO_DESCRIPTION, INFO_FOOTER);
    info->add_option("CACHE", cacheInfo_.cache, "A directory if it has a slash, else an id")
        ->type_name(value_name::CACHE)
        ->required();
    info->callback([this] { parsed_.command = cacheInfo_; });

    CLI::App* verify = addCommand(*cache, "verify", VERIFY_DESCRIPTION, VERIFY_FOOTER);
    verify
        ->add_option("--max-faults", cacheVerify_.maxFaults, "Print at most N faults (100); all are counted")
        ->type_name("N")
        ->check(requireDigits);
    verify->add_option("CACHE", cacheVerify_.cache, "A directory if it has a slash, else an id")
        ->type_name(value_name::CACHE)
        ->required();
    verify->callback([this] { parsed_.command = cacheVerify_; });
}

void OptionTree::addOperations()
{
    CLI::App* command = addCommand(app_, "operations", OPERATIONS_DESCRIPTION, OPERATIONS_FOOTER);
    command->callback([this] { parsed_.command = OperationsOptions{}; });
}

Invocation OptionTree::invocation() const { return parsed_; }

} // namespace ksrbac
