#include "commands/explanation.h"

#include <set>
#include <vector>

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

std::string rolesText(const std::vector<int>& roles, const RoleNames& names)
{
    std::string text = roles.size() == 1 ? "role " : "roles ";
    for (std::size_t i = 0; i < roles.size(); ++i) {
        text += (i == 0 ? "" : ", ") + roleText(names, roles[i]);
    }
    return text;
}

std::string meaning(const Rbac::Explanation& explanation)
{
    const std::string last = explanation.path.empty() ? "" : explanation.path.back().object.str();
    switch (explanation.verdict.reason) {
    case Rbac::Reason::EnforcementOff:
        return "enforcement is off";
    case Rbac::Reason::UnknownOperation:
        return "the operation cache does not know the operation";
    case Rbac::Reason::Role0:
        return "role 0 may do everything";
    case Rbac::Reason::NoRoles:
        return "the caller has no role";
    case Rbac::Reason::Granted:
        return "granted on the object itself";
    case Rbac::Reason::GrantedByAncestor:
        return last + " grants it on everything below it";
    case Rbac::Reason::InheritanceOff:
        return last + " does not inherit, and nothing up to it grants the operation";
    case Rbac::Reason::NotGranted:
        break;
    }
    return "nothing up to the root grants the operation";
}

std::string stepText(const Rbac::PathStep& step, const RoleNames& names)
{
    if (!step.isCached) {
        return "not in the cache";
    }
    std::string text = step.inherits ? "inherits" : "does not inherit";
    if (!step.rolesOnObject.empty()) {
        text += "; on it: " + rolesText(step.rolesOnObject, names);
    }
    if (!step.rolesOnChildren.empty()) {
        text += "; below it: " + rolesText(step.rolesOnChildren, names);
    }
    return text;
}

std::string jsonArray(const std::vector<int>& roles)
{
    JsonArray array;
    for (const int role : roles) {
        array.addJson(std::to_string(role));
    }
    return array.text();
}

} // namespace

const char* propagationName(Rbac::GrantScope scope) noexcept
{
    return scope == Rbac::GrantScope::OnObject ? "OBJECT" : "CHILDREN";
}

std::string explanationText(const Rbac::Explanation& explanation, const RoleNames& names)
{
    std::string text =
        std::string("  ") + reasonName(explanation.verdict.reason) + ": " + meaning(explanation) + '\n';
    for (const Rbac::PathStep& step : explanation.path) {
        text += "  " + step.object.str() + "  " + stepText(step, names) + '\n';
    }
    const char* separator = "  would be allowed by a grant ";
    for (const Rbac::GrantPlace& place : explanation.wouldAllow) {
        text += separator;
        text += place.scope == Rbac::GrantScope::OnObject ? "on " : "below ";
        text += place.object.str();
        separator = ", or ";
    }
    return explanation.wouldAllow.empty() ? text : text + '\n';
}

void addExplanation(JsonObject& object, const Rbac::Explanation& explanation, const RoleNames& names)
{
    JsonArray path;
    std::set<int> roles;
    for (const Rbac::PathStep& step : explanation.path) {
        roles.insert(step.rolesOnObject.begin(), step.rolesOnObject.end());
        roles.insert(step.rolesOnChildren.begin(), step.rolesOnChildren.end());
        path.addJson(JsonObject()
                         .add("object", step.object.str())
                         .add("inCache", step.isCached)
                         .add("inherits", step.inherits)
                         .add("counts", propagationName(step.countingScope))
                         .addJson("rolesOnObject", jsonArray(step.rolesOnObject))
                         .addJson("rolesOnChildren", jsonArray(step.rolesOnChildren))
                         .text());
    }
    object.add("reason", reasonName(explanation.verdict.reason)).addJson("path", path.text());
    addRoleNames(object, roles, names);
}

} // namespace ksrbac
