#include "commands/decision_table.h"

#include <map>
#include <set>
#include <utility>
#include <vector>

#include <boost/shared_ptr.hpp>

#include <keepsafe/rbac/client/AccessChecker.h>

#include "cli/arguments.h"
#include "commands/make_checker.h"
#include "io/LineReader.h"
#include "output/Json.h"
#include "output/escape.h"
#include "split.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::Text::split;

namespace {

struct Decision {
    std::string rolesText;
    std::set<int> roles;
    Rbac::ObjectNamespace operation;
    Rbac::ObjectNamespace object;
    bool isAllowed;
};

Decision parseDecision(const std::string& where, const std::string& line, RoleNames& names)
{
    constexpr std::size_t COLUMNS = 4;
    const std::vector<std::string> columns = split(line, '\t');
    if (columns.size() != COLUMNS) {
        throw InputError(where + ": " + std::to_string(columns.size()) +
                         " columns instead of 4: roles, operation, object and decision with tabs between");
    }
    const std::string& decision = columns[3];
    if (decision != "allow" && decision != "deny") {
        throw InputError(where + ": neither allow nor deny: \"" + escapeForMessage(decision) + '"');
    }
    return {columns[0], readRoles(names, where, columns[0]), parseNamespace(where, columns[1]),
            parseNamespace(where, columns[2]), decision == "allow"};
}

/// One checker for all decisions about the same roles and operation.
class Checkers {
public:
    explicit Checkers(Rbac::AccessControlClient& client) : client_(client) {}

    [[nodiscard]] bool decide(const Decision& decision)
    {
        auto& checker = checkers_[{decision.rolesText, decision.operation.str()}];
        if (!checker) {
            checker = makeChecker(client_, decision.roles, decision.operation);
        }
        return checker->checkAccess(decision.object);
    }

private:
    Rbac::AccessControlClient& client_;
    std::map<std::pair<std::string, std::string>, boost::shared_ptr<const Rbac::AccessChecker>> checkers_;
};

const char* nameOf(bool isAllowed) { return isAllowed ? "allow" : "deny"; }

std::string text(const std::string& where, const Decision& decision)
{
    return where + ": roles " +
           (decision.rolesText.empty() ? "(none)" : escapeForMessage(decision.rolesText)) + ", " +
           decision.operation.str() + ", " + decision.object.str() + ": expected " +
           nameOf(decision.isAllowed) + ", decided " + nameOf(!decision.isAllowed);
}

std::string json(std::size_t line, const Decision& decision)
{
    JsonArray roles;
    for (const int role : decision.roles) {
        roles.addJson(std::to_string(role));
    }
    return JsonObject()
        .add("line", std::uint64_t{line})
        .addJson("roles", roles.text())
        .add("operation", decision.operation.str())
        .add("object", decision.object.str())
        .add("expected", decision.isAllowed)
        .add("allowed", !decision.isAllowed)
        .text();
}

} // namespace

ExitStatus compareWithTable(Policy& policy, const std::string& path, RoleNames& names, bool asJson,
                            Console& console)
{
    Checkers checkers(policy.client());
    LineReader lines(path, [&console] { console.flush(); });
    ExitStatus status = ExitStatus::Good;
    bool isEmpty = true;
    std::string line;
    while (lines.next(line)) {
        if (line.empty() || line.front() == '#') {
            continue;
        }
        isEmpty = false;
        const std::string where = escapeForMessage(lines.name()) + ':' + std::to_string(lines.lineNumber());
        const Decision decision = parseDecision(where, line, names);
        if (checkers.decide(decision) != decision.isAllowed) {
            status = ExitStatus::Negative;
            console.print((asJson ? json(lines.lineNumber(), decision) : text(where, decision)) + '\n');
        }
    }
    if (isEmpty) {
        throw InputError(escapeForMessage(lines.name()) + ": there is no decision in it");
    }
    return status;
}

} // namespace ksrbac
