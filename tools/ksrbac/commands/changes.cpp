#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <keepsafe/rbac/api/Changes.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "cli/since.h"
#include "commands/JournalLines.h"
#include "commands/commands.h"
#include "commands/follow_changes.h"
#include "service/RoleNames.h"
#include "service/ask_service.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr char DESCRIPTION[] =
    R"(List what was changed at the service: when, by whom, and what.

The service keeps a journal of all changes to roles, objects and access
definitions. A change has a revision; one that concerns many items, such as the
registration of a hundred objects, has a line for each, all of its revision. The
oldest line comes first. WHO is the subject of the client's certificate, or
'local' and a user for an import on the service's host. The table shows times to
the second; all times are UTC.

--since takes a duration back from now (90m, 24h, 7d; also s and w), a date or
time (2026-01-31, 2026-01-31T12:00:00+01:00), or a revision: what came after it.

--follow goes on: it prints what is changed as it comes, each change once and in
order, and without --since nothing from before. While the service does not
answer it says so and asks again. SIGINT and SIGTERM end it with status 0, as
--limit does.

With --json it prints one object per line, with the item before and after the
change: {"revision":...,"id":...,"time":...,"who":...,"what":...,"object":...,
"roleId":...,"before":...,"after":...}.

Exit status: 0 listed, even if there is none, 2 usage error, 3 the service could
not be reached or refused: its message is printed, 4 standard output could not
be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac changes --since 24h
  ksrbac changes --since 7d --object '|KEEPSAFE|ASSETS|vms|'
  ksrbac changes --role 'Restore operator' --json
  ksrbac changes --follow)";

constexpr std::size_t LONGEST_PAGE = 1000;

struct Options {
    std::optional<std::string> since;
    std::optional<std::string> object;
    std::optional<std::string> role;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
    bool follow = false;
};

/// Of the revision, the time and who: the table begins before there is a line.
const std::vector<std::size_t> WIDTHS_OF_UNKNOWN_LINES{8, 20, 24};

Rbac::ChangeQuery queryOf(const Options& options)
{
    Rbac::ChangeQuery query;
    if (options.since) {
        query.since = parseSince("--since", *options.since);
    }
    if (options.object) {
        query.object = parseNamespace("--object", *options.object);
    }
    if (options.role) {
        RoleNames names("changes");
        query.roleId = readServiceRole(names, "--role", *options.role);
    }
    query.limit = std::clamp<std::size_t>(options.limit, 1, LONGEST_PAGE);
    return query;
}

ExitStatus run(const Options& options, bool json, Console& console)
{
    const Rbac::ChangeQuery query = queryOf(options);
    if (options.follow) {
        JournalLines lines(json, options.limit, console, WIDTHS_OF_UNKNOWN_LINES);
        followChanges(query, lines, console);
        return ExitStatus::Good;
    }
    JournalLines printer(json, options.limit, console);
    const auto ask = [](const auto& request) { return askService("changes", request); };
    Rbac::ChangePage page = ask([&] { return Rbac::ChangeAPI().get_changes(query); });
    printer.print(page);
    while (!page.next.empty() && printer.wantsMore()) {
        page = ask([&] { return Rbac::ChangeAPI().get_next(page); });
        printer.print(page);
    }
    return ExitStatus::Good;
}

} // namespace

Action addChanges(CLI::App& command)
{
    const auto options = std::make_shared<Options>();
    describe(command, DESCRIPTION, EXAMPLE);
    addOptional(command, "--since", options->since, "WHEN", "Only what was changed since then");
    addOptional(command, "--object", options->object, value_name::OBJECT,
                "Only what concerns this object or one below it");
    addOptional(command, "--role", options->role, value_name::ROLE,
                "Only what concerns this role, by id or name");
    addOptional(command, "--limit", options->limit, "N", "Only the first N lines");
    addFlag(command, "--follow", options->follow, "Go on with what is changed from now on");
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
