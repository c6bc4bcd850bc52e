#include <keepsafe/rbac/questions/explain.h>

#include <algorithm>
#include <utility>

#include "CacheWalk.h"
#include "DecidingPath.h"
#include "all_permissions.h"
#include "disk_client.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using detail::CacheWalk;
using detail::DecidingPath;
using detail::MetObject;
using detail::RoleIds;

/// One object of the path, as long as the names are not needed.
struct Found {
    std::size_t nameLength;
    bool inherits;
    std::vector<int> rolesOnObject;
    std::vector<int> rolesOnChildren;
};

std::vector<int> holders(const CacheWalk& walk, NodeOffset roleTree, const RoleIds& roles,
                         const Operation& operation)
{
    std::vector<int> found;
    for (const std::int32_t role : roles) {
        if (walk.isGranted(walk.roleHolds(roleTree, role, operation))) {
            found.push_back(role);
        }
    }
    return found;
}

Reason denialReason(const RoleIds& roles, bool isCut)
{
    if (roles.begin() == roles.end()) {
        return Reason::NoRoles;
    }
    return isCut ? Reason::InheritanceOff : Reason::NotGranted;
}

/// The names from the object up to the one whose text form has `lastLength` bytes, each with what was found
/// of it. `found` is in the same order.
std::vector<PathStep> stepsUpTo(const ObjectNamespace& object, std::size_t lastLength,
                                std::vector<Found> found)
{
    std::vector<PathStep> steps;
    auto next = found.begin();
    GrantScope scope = GrantScope::OnObject;
    for (boost::optional<ObjectNamespace> name = object; name && name->str().size() >= lastLength;
         name = name->parentNamespace()) {
        PathStep step{*name, false, true, scope, {}, {}};
        if (next != found.end() && next->nameLength == name->str().size()) {
            step.isCached = true;
            step.inherits = next->inherits;
            step.rolesOnObject = std::move(next->rolesOnObject);
            step.rolesOnChildren = std::move(next->rolesOnChildren);
            ++next;
        }
        steps.push_back(std::move(step));
        scope = GrantScope::OnChildren;
    }
    return steps;
}

/// A question about one object while the cache is locked.
struct Finding {
    Verdict verdict{false, Reason::NotGranted};
    std::vector<Found> found;
    bool isComplete = true; ///< it led up to the root

    Finding(const CacheWalk& walk, const std::string& text, const RoleIds& roles, const Operation& operation)
    {
        const DecidingPath path(walk, text);
        const bool isCut = path.visitUpwards([&](const MetObject& met) {
            const auto& object = *met.object;
            found.push_back({met.nameLength, object.inherit != 0,
                             holders(walk, object.ownBits, roles, operation),
                             holders(walk, object.childBits, roles, operation)});
            const auto& counting =
                met.isNamed(text.size()) ? found.back().rolesOnObject : found.back().rolesOnChildren;
            verdict = {!counting.empty(),
                       met.isNamed(text.size()) ? Reason::Granted : Reason::GrantedByAncestor};
            return verdict.isAllowed;
        });
        isComplete = !verdict.isAllowed && !isCut;
        if (!verdict.isAllowed) {
            verdict.reason = denialReason(roles, isCut);
        }
    }
};

std::vector<GrantPlace> countingPlaces(const std::vector<PathStep>& path)
{
    std::vector<GrantPlace> places;
    places.reserve(path.size());
    for (const PathStep& step : path) {
        places.push_back({step.object, step.countingScope});
    }
    return places;
}

} // namespace

const char* reasonName(Reason reason) noexcept
{
    switch (reason) {
    case Reason::EnforcementOff:
        return "enforcement-off";
    case Reason::UnknownOperation:
        return "unknown-operation";
    case Reason::Role0:
        return "role-0";
    case Reason::NoRoles:
        return "no-roles";
    case Reason::Granted:
        return "granted";
    case Reason::GrantedByAncestor:
        return "granted-by-ancestor";
    case Reason::InheritanceOff:
        return "inheritance-off";
    case Reason::NotGranted:
        break;
    }
    return "not-granted";
}

Explainer::Explainer(AccessControlClient& client, const std::set<int>& roleIds,
                     const ObjectNamespace& operation)
    : constant_{true, Reason::EnforcementOff}, roleIds_(roleIds)
{
    DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        return;
    }
    const boost::optional<Operation> known = disk->operationCache()[operation];
    if (!known) {
        constant_ = {false, Reason::UnknownOperation};
    } else if (detail::hasAllPermissions(roleIds)) {
        constant_ = {true, Reason::Role0};
    } else {
        operation_ = *known;
        accessCache_ = disk->accessCache();
    }
}

Verdict Explainer::verdict(const ObjectNamespace& object) const
{
    if (!accessCache_) {
        return constant_;
    }
    const std::string& text = object.str();
    const auto reader = accessCache_->lock();
    const CacheWalk walk(reader);
    Verdict verdict{false, Reason::NotGranted};
    const DecidingPath path(walk, text);
    const bool isCut = path.visitUpwards([&](const MetObject& met) {
        verdict.isAllowed =
            walk.isGranted(walk.anyRoleHolds(met.countingTree(text.size()), roleIds_, operation_));
        verdict.reason = met.isNamed(text.size()) ? Reason::Granted : Reason::GrantedByAncestor;
        return verdict.isAllowed;
    });
    walk.requireWhole();
    if (!verdict.isAllowed) {
        verdict.reason = denialReason(roleIds_, isCut);
    }
    return verdict;
}

Explanation Explainer::explain(const ObjectNamespace& object) const
{
    if (!accessCache_) {
        return {constant_, {}, {}};
    }
    const std::string& text = object.str();
    Finding finding = [&] {
        const auto reader = accessCache_->lock();
        const CacheWalk walk(reader);
        Finding found(walk, text, roleIds_, operation_);
        walk.requireWhole();
        return found;
    }();
    const std::size_t lastLength = finding.isComplete ? 0 : finding.found.back().nameLength;
    Explanation explanation{finding.verdict, stepsUpTo(object, lastLength, std::move(finding.found)), {}};
    if (!explanation.verdict.isAllowed) {
        explanation.wouldAllow = countingPlaces(explanation.path);
    }
    return explanation;
}

} // namespace Tessara::Keepsafe::Rbac
