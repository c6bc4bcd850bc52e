#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "cli/options.h"
#include "commands/commands.h"
#include "policy/ChangePrinter.h"
#include "policy/DocumentPolicy.h"
#include "policy/EditedPolicy.h"
#include "policy/OpenCache.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(Show which decisions a change would turn, without making it.

Compares the access cache with what --policy, a policy document, would make of
it; or with what single changes would: --grant and --revoke take
ROLE:OPERATION,...[:PROPAGATION]@OBJECT, and --inherit OBJECT=on|off. Without a
propagation a grant is for the object alone. A role is given by its id, or by
its name, for which the service is asked; a colon, comma or @ in it is written
%3A, %2C or %40. An object that is granted something and is not in the cache is
taken as added. Nothing is written.

Prints the changed decisions as 'ksrbac cache diff --decisions' does, which also
describes the lines:

  now-allowed | now-denied | as-before  OBJECT ROLE OPERATION PROPAGATION

Operations have to be known to this host's operation cache; a document may bring
new ones with bits that are free.

Exit status: 0 no decision would change, 1 some would, 2 usage error, or an
input that is malformed or cannot be read, 3 the library reported a status or
failed, or the cache changed meanwhile, 4 standard output could not be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac simulate --cache main --policy policy.json
  ksrbac simulate --cache main \
    --revoke '17:|OPERATIONS|VIEW|:CHILDREN@|STORAGE|'
  ksrbac simulate --cache main --inherit '|KEEPSAFE|ASSETS|=off')";

struct Options {
    std::string cache;
    std::optional<std::string> policy;
    std::vector<std::string> grants;
    std::vector<std::string> revocations;
    std::vector<std::string> inherits;
    bool roleNames = false;
};

PolicyEdits editsOf(const Options& options, const OperationNames& operations, RoleNames& roles)
{
    PolicyEdits edits(operations, roles);
    for (const std::string& text : options.grants) {
        edits.grant(text);
    }
    for (const std::string& text : options.revocations) {
        edits.revoke(text);
    }
    for (const std::string& text : options.inherits) {
        edits.setInherit(text);
    }
    return edits;
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    const OperationNames operations;
    RoleNames roles("simulate");
    const PolicyEdits edits = editsOf(options, operations, roles);
    if (options.policy.has_value() != edits.empty()) {
        throw UsageError("simulate: give either --policy, or --grant, --revoke and --inherit");
    }
    const OpenCache cache(options.cache);
    Rbac::CachePolicySource before(cache.client());
    Rbac::CachePolicySource original(cache.client());
    std::unique_ptr<Rbac::PolicySource> after;
    if (options.policy) {
        after = std::make_unique<DocumentPolicy>(*options.policy, operations);
    } else {
        after = std::make_unique<EditedPolicy>(original, edits);
    }
    if (options.roleNames) {
        roles.askIfPossible(console);
    }
    ChangePrinter printer(json, console, roles);
    printer.print(before, *after, {false, true});
    cache.requireAsOpened();
    return printer.status();
}

} // namespace

Action addSimulate(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addRequired(command, "--cache", options->cache, value_name::CACHE,
                "Cache: a directory if it has a slash, else an id");
    addOptional(command, "--policy", options->policy, value_name::FILE_OR_STDIN,
                "Policy document to compare with; - is standard\ninput");
    addRepeated(command, "--grant", options->grants, value_name::GRANT,
                "A grant to add, for example\n17:|OPERATIONS|VIEW|:OBJECT@|STORAGE|");
    addRepeated(command, "--revoke", options->revocations, value_name::GRANT, "A grant to take away");
    addRepeated(command, "--inherit", options->inherits, value_name::INHERITANCE,
                "Turn an object's inheritance");
    addRoleNames(command, options->roleNames);
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
