#include "policy/ChangePrinter.h"

#include <array>
#include <string>

#include "io/Progress.h"
#include "output/Json.h"
#include "output/escape.h"
#include "policy/CountedPolicy.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

using Kind = Rbac::PolicyChange::Kind;

/// In the order of `PolicyChange::Kind`.
constexpr std::array KINDS{"added",   "removed",     "inherit-",   "granted",
                           "revoked", "now-allowed", "now-denied", "as-before"};
/// In the order of `PolicyChange::Scope`.
constexpr std::array PROPAGATIONS{"OBJECT", "CHILDREN", "OBJECT_AND_CHILDREN"};

std::string nameOf(const Rbac::PolicyChange& change)
{
    std::string name = KINDS[static_cast<std::size_t>(change.kind)];
    if (change.kind == Kind::InheritTurned) {
        name += change.inherits ? "on" : "off";
    }
    return name;
}

} // namespace

void ChangePrinter::print(Rbac::PolicySource& before, Rbac::PolicySource& after,
                          const Rbac::WantedChanges& wanted)
{
    Progress progress(console_, "compared", "objects");
    CountedPolicy counted(after, progress);
    comparePolicies(before, counted, wanted, [this](const Rbac::PolicyChange& change) {
        printChange(change);
        return true;
    });
}

std::string ChangePrinter::paintedName(const Rbac::PolicyChange& change) const
{
    const bool isAllowed = change.kind == Kind::NowAllowed;
    return isAllowed || change.kind == Kind::NowDenied
               ? console_.paint(nameOf(change), isAllowed ? Colour::Good : Colour::Bad)
               : nameOf(change);
}

void ChangePrinter::printChange(const Rbac::PolicyChange& change)
{
    ++count_;
    const bool isOfRole = change.kind >= Kind::Granted;
    const std::string object(change.object);
    const char* const propagation = PROPAGATIONS[static_cast<std::size_t>(change.scope)];
    if (!json_) {
        const std::string role = '\t' + std::to_string(change.roleId) + '\t' +
                                 operations_.nameOf(change.operation) + '\t' + propagation +
                                 roleNameField(roles_, change.roleId);
        console_.print(paintedName(change) + '\t' + printable(object) + (isOfRole ? role : "") + '\n');
        return;
    }
    JsonObject json;
    json.add("change", nameOf(change)).add("object", object);
    if (isOfRole) {
        json.add("role", std::int64_t{change.roleId});
        if (const std::string* name = roles_.nameOf(change.roleId)) {
            json.add("name", *name);
        }
        json.add("operation", operations_.nameOf(change.operation)).add("propagation", propagation);
    }
    console_.print(json.text() + '\n');
}

} // namespace ksrbac
