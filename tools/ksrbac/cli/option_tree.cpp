#include "cli/option_tree.h"

#include <memory>

#include "cli/help_formatter.h"
#include "version.h"

namespace ksrbac {

namespace {

constexpr char PROGRAM_FOOTER[] =
    R"(Exit status: 0 all allowed, no fault found or listed; 1 some denied or faults found;
2 usage error or unreadable input; 3 the library reported a status; 4 standard output could not be written.

Example:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17,3 '|KEEPSAFE|PROTECTION|'

Run 'ksrbac COMMAND --help' for more on a command.)";

constexpr char CHECK_DESCRIPTION[] =
    R"(Decides for each object whether any of the roles may perform the operation on it.

Prints one line per object, in order: "allow" or "deny", a tab, and the object as it was given; with --json
{"object":...,"operation":...,"allowed":...} with the object in its canonical text form. Objects given as
arguments come first, then those of --objects-from. Operations come from the installation's operation cache;
one that it does not know is denied everywhere. Role 0 is allowed everything. The cache is asked whether or not
enforcement is switched on.

A line of the file is one object to the last byte: white space, a carriage return or nothing at all on a line
make it malformed. Malformed objects are told on standard error with their line number, and the others are
still answered.

Exit status: 0 all allowed, 1 some denied, 2 usage error or unreadable or malformed input, 3 the library
reported a status (told on standard error; objects without a line were not decided), 4 standard output could
not be written.)";

constexpr char CHECK_FOOTER[] =
    R"(Examples:
  ksrbac check --cache main --operation '|OPERATIONS|VIEW|' --roles 17,3 '|KEEPSAFE|PROTECTION|'
  ksrbac check --cache ./cache --operation '|OPERATIONS|VIEW|' --roles=-5,3 --objects-from objects.txt)";

constexpr char CACHE_FOOTER[] = R"(Example:
  ksrbac cache verify main)";

constexpr char INFO_DESCRIPTION[] =
    R"(Shows what an access cache holds: namespace, counts, file sizes, depths, and fragmentation, which is the
share of records that nothing refers to (left over from earlier writes, or set aside for later ones).

Walks the whole cache under its shared file lock, so a writer waits meanwhile. Exit status: 0 shown, damaged
or not; 2 usage error or unreadable cache; 4 standard output could not be written.)";

constexpr char INFO_FOOTER[] = R"(Example:
  ksrbac cache info /usr/kshome/wmc/webserver/temp/access-caches/main)";

constexpr char VERIFY_DESCRIPTION[] =
    R"(Looks for damage in an access cache: every offset, the order of every search tree, cycles, the
write-in-progress flag, the manifest. Prints each fault with its file, the byte in the file and how it was
reached. Records that nothing refers to are legal and counted; an offset that points inside a record stands
for that record and is legal; bytes after the last whole record of a file are ignored by readers and noted.

Holds the cache's shared file lock for the whole walk (about a second for a million objects), so that no
writer changes the files under it: readers are not kept waiting, a writer is.

Exit status: 0 no fault, 1 faults, 2 usage error or unreadable cache, 4 standard output could not be written.)";

constexpr char VERIFY_FOOTER[] = R"(Example:
  ksrbac cache verify main && echo sound)";

constexpr char OPERATIONS_DESCRIPTION[] =
    R"(Lists the operations of the installation's operation cache with their permission bits, by bit.

Exit status: 0 listed, 2 usage error, 3 the library reported a status, 4 standard output could not be written.)";

constexpr char OPERATIONS_FOOTER[] = R"(Example:
  ksrbac operations --json)";

} // namespace

OptionTree::OptionTree() : app_("Asks and examines the access caches of a KEEPSAFE installation.", "ksrbac")
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
}

void OptionTree::addGlobalOptions()
{
    app_.set_version_flag("--version", "ksrbac (keepsafe-rbac) " KSRBAC_VERSION, "Show the version and exit");
    app_.add_option("--root", parsed_.global.root, "Installation root in place of /usr/kshome")
        ->type_name(value_name::DIRECTORY);
    app_.add_flag("--json", parsed_.global.json, "Print results as JSON, one object per line");
    app_.add_option("--log-level", parsed_.global.logLevel,
                    "Log messages of this level and above (2 debug, 4 information, 8 notable, 16 errors)")
        ->type_name("N");
}

void OptionTree::addCheck()
{
    CLI::App* command = app_.add_subcommand("check", CHECK_DESCRIPTION);
    command->footer(CHECK_FOOTER);
    command->add_option("--cache", check_.cache, "Access cache: a directory when it has a slash, else an id")
        ->type_name(value_name::CACHE)
        ->required();
    command->add_option("--operation", check_.operation, "Namespace of the operation")
        ->type_name("NS")
        ->required();
    command
        ->add_option("--roles", check_.roles,
                     "Role ids with commas between them; --roles=-5,3 for negative ones, --roles= for none")
        ->type_name("IDS")
        ->required();
    command
        ->add_option("--objects-from", check_.objectsFrom, "Read objects line by line; - is standard input")
        ->type_name(value_name::FILE_OR_STDIN);
    command->add_option("OBJECT", check_.objects, "Namespaces of objects")->type_name("NS");
    command->callback([this] { parsed_.command = check_; });
}

void OptionTree::addCache()
{
    CLI::App* cache = app_.add_subcommand("cache", "Examines an access cache.");
    cache->footer(CACHE_FOOTER);
    cache->require_subcommand(1);

    CLI::App* info = cache->add_subcommand("info", INFO_DESCRIPTION);
    info->footer(INFO_FOOTER);
    info->add_option("CACHE", cacheInfo_.cache, "A directory when it has a slash, else an id")
        ->type_name(value_name::CACHE)
        ->required();
    info->callback([this] { parsed_.command = cacheInfo_; });

    CLI::App* verify = cache->add_subcommand("verify", VERIFY_DESCRIPTION);
    verify->footer(VERIFY_FOOTER);
    verify
        ->add_option("--max-faults", cacheVerify_.maxFaults, "Print at most N faults (100); all are counted")
        ->type_name("N");
    verify->add_option("CACHE", cacheVerify_.cache, "A directory when it has a slash, else an id")
        ->type_name(value_name::CACHE)
        ->required();
    verify->callback([this] { parsed_.command = cacheVerify_; });
}

void OptionTree::addOperations()
{
    CLI::App* command = app_.add_subcommand("operations", OPERATIONS_DESCRIPTION);
    command->footer(OPERATIONS_FOOTER);
    command->callback([this] { parsed_.command = OperationsOptions{}; });
}

Invocation OptionTree::invocation() const { return parsed_; }

} // namespace ksrbac
