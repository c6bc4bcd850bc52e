#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include <keepsafe/rbac/api/Changes.h>

#include "cli/arguments.h"
#include "cli/options.h"
#include "cli/since.h"
#include "commands/change_text.h"
#include "commands/commands.h"
#include "output/Json.h"
#include "output/TextTable.h"
#include "output/escape.h"
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

With --json it prints one object per line, with the item before and after the
change: {"revision":...,"id":...,"time":...,"who":...,"what":...,"object":...,
"roleId":...,"before":...,"after":...}.

Exit status: 0 listed, even if there is none, 2 usage error, 3 the service could
not be reached or refused: its message is printed, 4 standard output could not
be written.)";

constexpr char EXAMPLE[] = R"(Examples:
  ksrbac changes --since 24h
  ksrbac changes --since 7d --object '|KEEPSAFE|ASSETS|vms|'
  ksrbac changes --role 'Restore operator' --json)";

constexpr std::size_t LONGEST_PAGE = 1000;

struct Options {
    std::optional<std::string> since;
    std::optional<std::string> object;
    std::optional<std::string> role;
    std::size_t limit = std::numeric_limits<std::size_t>::max();
};

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

JsonObject toJson(const Rbac::Change& change)
{
    return JsonObject()
        .add("revision", change.revision)
        .add("id", change.id)
        .add("time", change.time)
        .add("who", change.who)
        .add("what", change.what)
        .addJson("object", change.object ? jsonString(change.object->str()) : "null")
        .addJson("roleId", change.roleId ? std::to_string(*change.roleId) : "null")
        .addJson("before", change.before)
        .addJson("after", change.after);
}

/// "2026-01-31T23:59:59Z", without the fraction.
std::string toTheSecond(const std::string& time)
{
    constexpr std::size_t SECONDS = sizeof "2026-01-31T23:59:59" - 1;
    return escapeForMessage(time.size() > SECONDS && time.back() == 'Z' ? time.substr(0, SECONDS) + 'Z'
                                                                        : time);
}

/// Prints changes as they come, page by page: a journal may be long.
class ChangePrinter {
public:
    ChangePrinter(bool json, std::size_t limit, Console& console)
        : json_(json), left_(limit), console_(console)
    {
    }

    [[nodiscard]] bool wantsMore() const { return left_ > 0; }

    void print(const Rbac::ChangePage& page)
    {
        using Align = TextTable::Align;
        TextTable table({Align::Right, Align::Left, Align::Left, Align::Left});
        if (isFirst_) {
            table.addRow({"REVISION", "TIME", "WHO", "WHAT"});
        }
        isFirst_ = false;
        for (const Rbac::Change& change : page.changes) {
            if (left_ == 0) {
                break;
            }
            --left_;
            if (json_) {
                console_.print(toJson(change).text() + '\n');
            } else {
                table.addRow({std::to_string(change.revision), toTheSecond(change.time),
                              escapeForMessage(change.who), changeText(change)});
            }
        }
        if (!json_) {
            console_.print(table.text());
        }
    }

private:
    const bool json_;
    std::size_t left_;
    Console& console_;
    bool isFirst_ = true;
};

ExitStatus run(const Options& options, bool json, Console& console)
{
    const Rbac::ChangeQuery query = queryOf(options);
    ChangePrinter printer(json, options.limit, console);
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
    return {[options](bool json, Console& console) { return run(*options, json, console); }};
}

} // namespace ksrbac
