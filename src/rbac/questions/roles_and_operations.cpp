#include <keepsafe/rbac/questions/roles_and_operations.h>

#include <algorithm>
#include <map>
#include <utility>

#include <keepsafe/jwt/JWTHandler.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/status_codes.h>

#include "CacheWalk.h"
#include "DecidingPath.h"
#include "all_permissions.h"
#include "disk_client.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using detail::CacheWalk;
using detail::DecidingPath;
using detail::MetObject;

/// A grant as long as the object's name is not needed.
struct FoundGrant {
    std::size_t nameLength;
    GrantScope scope;
};

using GrantsByRole = std::map<int, std::vector<FoundGrant>>;

GrantsByRole findHolders(const CacheWalk& walk, const std::string& text, const Operation& operation)
{
    GrantsByRole holders;
    const DecidingPath path(walk, text);
    path.visitUpwards([&](const MetObject& met) {
        const FoundGrant grant{met.nameLength,
                               met.isNamed(text.size()) ? GrantScope::OnObject : GrantScope::OnChildren};
        walk.visitRoles(met.countingTree(text.size()), [&](std::int32_t role, NodeOffset words) {
            if (walk.wordsHold(words, operation)) {
                holders[role].push_back(grant);
            }
        });
        return false;
    });
    walk.requireWhole();
    return holders;
}

/// Where the words of the roles' grants on the path begin, each once and in the order of a check: where that
/// meets damage before a grant, so does who tries them one after the other.
std::vector<NodeOffset> findWords(const CacheWalk& walk, const std::string& text,
                                  const std::set<int>& roleIds)
{
    std::vector<NodeOffset> all;
    std::set<NodeOffset> known{0};
    const DecidingPath path(walk, text);
    path.visitUpwards([&](const MetObject& met) {
        for (const int role : roleIds) {
            const NodeOffset words = walk.wordsOf(met.countingTree(text.size()), role);
            if (known.insert(words).second) {
                all.push_back(words);
            }
        }
        return false;
    });
    return all;
}

using KnownOperations = std::map<ObjectNamespace, Operation>;

std::vector<ObjectNamespace> findOperations(const AccessCache& cache, const std::set<int>& roleIds,
                                            const ObjectNamespace& object, const KnownOperations& known)
{
    const std::string& text = object.str();
    std::vector<const ObjectNamespace*> held;
    held.reserve(known.size());
    {
        const auto reader = cache.lock();
        const CacheWalk walk(reader);
        const std::vector<NodeOffset> words = findWords(walk, text, roleIds);
        for (const auto& [name, operation] : known) {
            const Operation& wanted = operation;
            if (std::any_of(words.begin(), words.end(),
                            [&](NodeOffset at) { return walk.wordsHold(at, wanted); })) {
                held.push_back(&name);
            }
        }
        walk.requireWhole();
    }
    std::vector<ObjectNamespace> operations;
    operations.reserve(held.size());
    for (const ObjectNamespace* name : held) {
        operations.push_back(*name);
    }
    return operations;
}

std::vector<ObjectNamespace> namesOf(const KnownOperations& known)
{
    std::vector<ObjectNamespace> names;
    names.reserve(known.size());
    for (const auto& entry : known) {
        names.push_back(entry.first);
    }
    return names;
}

/// The objects on the way by the lengths of their text forms.
std::map<std::size_t, ObjectNamespace> namesByLength(const ObjectNamespace& object)
{
    std::map<std::size_t, ObjectNamespace> names;
    for (boost::optional<ObjectNamespace> name = object; name; name = name->parentNamespace()) {
        names.emplace(name->str().size(), *name);
    }
    return names;
}

} // namespace

int findRoles(AccessControlClient& client, Tessara::Dal::DbConnectionManager* dbConnectionManager,
              const std::string& sessionToken, std::set<int>& roleIds)
{
    std::set<int> found;
    if (diskClient(client) != nullptr) {
        const int status = JWTHandler().getRoleIds(dbConnectionManager, sessionToken, found);
        if (status != Status::SUCCESS) {
            logmsgf(Platform::LOG_LEVEL_ERROR, "findRoles",
                    "Failed to extract role IDs from ID token, error=%d", status);
            return status;
        }
    }
    roleIds = std::move(found);
    return Status::SUCCESS;
}

WhoMay whoMay(AccessControlClient& client, const ObjectNamespace& operation, const ObjectNamespace& object)
{
    DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        return {true, {}};
    }
    WhoMay answer{false, {}};
    const boost::optional<Operation> known = disk->operationCache()[operation];
    if (!known) {
        return answer;
    }
    const std::string& text = object.str();
    const GrantsByRole holders = [&] {
        const auto reader = disk->accessCache()->lock();
        return findHolders(CacheWalk(reader), text, *known);
    }();
    const auto names = namesByLength(object);
    for (const auto& [role, grants] : holders) {
        AllowedRole allowed{role, {}};
        for (const FoundGrant& grant : grants) {
            allowed.grants.push_back({names.at(grant.nameLength), grant.scope});
        }
        answer.roles.push_back(std::move(allowed));
    }
    return answer;
}

WhatMay whatMay(AccessControlClient& client, const std::set<int>& roleIds, const ObjectNamespace& object)
{
    DiskAccessControlClient* const disk = diskClient(client);
    if (disk == nullptr) {
        return {true, {}};
    }
    disk->operationCache().reloadIfChanged();
    const KnownOperations known = disk->operationCache().operations();
    WhatMay answer{false, detail::hasAllPermissions(roleIds)
                              ? namesOf(known)
                              : findOperations(*disk->accessCache(), roleIds, object, known)};
    std::sort(
        answer.operations.begin(), answer.operations.end(),
        [](const ObjectNamespace& left, const ObjectNamespace& right) { return left.str() < right.str(); });
    return answer;
}

} // namespace Tessara::Keepsafe::Rbac
