#include <memory>
#include <string>

#include "cli/options.h"
#include "commands/commands.h"
#include "policy/ChangePrinter.h"
#include "policy/OpenCache.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Show what differs between two access caches.

Prints one line for each difference, in the order of the objects' names, with
tabs between its fields:

  added | removed | inherit-on | inherit-off  OBJECT
  granted | revoked          OBJECT ROLE OPERATION PROPAGATION
  now-allowed | now-denied   OBJECT ROLE OPERATION PROPAGATION
  as-before                  OBJECT ROLE OPERATION PROPAGATION

The first five are what the caches hold. The others are decisions: what a role
may do now, or not any more, whatever grant that comes from. A decision for
CHILDREN holds for everything below the object, except where a line further down
names the same role and operation; as-before takes it back there. With --json it
prints {"change":...,"object":...,"role":...,"operation":...,"propagation":...}. With
--role-names a line ends with the name of its role, where the service has one,
and the JSON object has it as "name".

An operation that the operation cache does not know is printed as its bit.
Memory does not grow with the number of differences. The caches are read in
pieces, so that no writer has to wait; a cache that changes meanwhile ends the
command with 3.

Exit status: 0 no difference, 1 differences, 2 usage error, 3 the library
reported a status or failed, or a cache changed meanwhile, 4 standard output
could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac cache diff ./yesterday main
  ksrbac cache diff --decisions ./yesterday main)";

struct Options {
    std::string before;
    std::string after;
    bool contents = false;
    bool decisions = false;
    bool roleNames = false;
};

ExitStatus run(const Options& options, bool json, Console& console)
{
    const OpenCache before(options.before);
    const OpenCache after(options.after);
    Rbac::CachePolicySource beforeSource(before.client());
    Rbac::CachePolicySource afterSource(after.client());
    const bool isAll = options.contents == options.decisions;
    RoleNames roles("cache diff");
    if (options.roleNames) {
        roles.askIfPossible(console);
    }
    ChangePrinter printer(json, console, roles);
    printer.print(beforeSource, afterSource, {isAll || options.contents, isAll || options.decisions});
    before.requireAsOpened();
    after.requireAsOpened();
    return printer.status();
}

} // namespace

Action addCacheDiff(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addFlag(command, "--contents", options->contents, "Print what the caches hold alone");
    addFlag(command, "--decisions", options->decisions, "Print decisions alone");
    addRoleNames(command, options->roleNames);
    addRequired(command, "BEFORE", options->before, value_name::CACHE, "The earlier cache");
    addRequired(command, "AFTER", options->after, value_name::CACHE, "The later cache");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
