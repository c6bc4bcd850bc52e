#include "policy/import_policy.h"

#include <algorithm>
#include <set>
#include <utility>

#include "accesscontrol/Store.h"
#include "accesscontrol/faults.h"
#include "accesscontrol/validation.h"
#include "cachewriter/publish_cache.h"
#include "errors/InputError.h"
#include "policy/policy_image.h"
#include "json/Element.h"

namespace keepsafe_sandbox {

using keepsafe_service::CacheImage;
using keepsafe_service::CacheLocation;
using keepsafe_service::checkObjectName;
using keepsafe_service::checkRoleName;
using keepsafe_service::Content;
using keepsafe_service::Database;
using keepsafe_service::Faults;
using keepsafe_service::FileSystem;
using keepsafe_service::InputError;
using keepsafe_service::KeptDefinition;
using keepsafe_service::localAuthor;
using keepsafe_service::MOST_ROLE_NAME_BYTES;
using keepsafe_service::nextAfter;
using keepsafe_service::OperationCacheUpdate;
using keepsafe_service::publishCache;
using keepsafe_service::quoted;
using keepsafe_service::Renumber;
using keepsafe_service::RoleRecord;
using keepsafe_service::Store;
using keepsafe_service::WorkProgress;

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

/// What the policy is to be, beside what stays of what is kept.
class PolicyContent {
public:
    PolicyContent(const Policy& policy, const Content& kept) : policy_(policy)
    {
        content_.next = kept.next;
        std::copy_if(kept.roles.begin(), kept.roles.end(), std::back_inserter(content_.roles),
                     [](const RoleRecord& role) { return role.systemDefined; });
        for (const RoleRecord& role : content_.roles) {
            roleIds_.insert(role.id);
            roleNames_.insert(role.name);
        }
    }

    Content make() &&
    {
        content_.operations = policy_.operations;
        for (const auto& [operation, bit] : policy_.operations) {
            require(operation, "operations[" + quoted(operation.str()) + "]");
        }
        for (std::size_t i = 0; i < policy_.roles.size(); ++i) {
            addRole(policy_.roles[i], placeOf("roles", i));
        }
        for (std::size_t i = 0; i < policy_.objects.size(); ++i) {
            const PolicyObject& object = policy_.objects[i];
            require(object.ns, placeOf("objects", i) + ".namespace");
            content_.objects.push_back(
                {static_cast<std::int32_t>(i + 1), object.ns.str(), "", object.inherit, Rbac::READY, 0});
        }
        for (std::size_t i = 0; i < policy_.accessDefinitions.size(); ++i) {
            addDefinition(policy_.accessDefinitions[i], placeOf("accessDefinitions", i));
        }
        return std::move(content_);
    }

private:
    static std::string placeOf(const char* list, std::size_t index)
    {
        return std::string(list) + "[" + std::to_string(index) + "]";
    }

    static void require(const Rbac::ObjectNamespace& ns, const std::string& place)
    {
        Faults faults;
        checkObjectName(ns, faults);
        if (!faults.empty()) {
            throw InputError(place + ": " + faults.front());
        }
    }

    void addRole(const PolicyRole& role, const std::string& place)
    {
        if (role.id < 0) {
            throw InputError(place + ".id: the service's roles have no negative ids, as " +
                             std::to_string(role.id));
        }
        if (!roleIds_.insert(role.id).second) {
            return; // the product's own stays as it is
        }
        Faults faults;
        checkRoleName(role.name, MOST_ROLE_NAME_BYTES, faults);
        if (!roleNames_.insert(role.name).second) {
            faults.push_back("another role has the name " + quoted(role.name));
        }
        if (!faults.empty()) {
            throw InputError(place + ".name: " + faults.front());
        }
        content_.roles.push_back({role.id, role.name, "", false});
        content_.next.role = std::max(content_.next.role, nextAfter(role.id));
    }

    void addDefinition(const AccessDefinition& definition, const std::string& place)
    {
        KeptDefinition kept;
        kept.id = content_.next.definition;
        kept.object = static_cast<std::int32_t>(definition.object + 1);
        kept.roleId = definition.roleId;
        kept.propagation = definition.propagation;
        std::set<std::int32_t> seen;
        for (const Rbac::Operation operation : definition.operations) {
            if (seen.insert(operation.offset).second) {
                kept.bits.push_back(operation.offset);
            }
        }
        if (kept.bits.size() > Store::MOST_OPERATIONS) {
            throw InputError(place + ".operations: there are " + std::to_string(kept.bits.size()) +
                             ", and at most " + std::to_string(Store::MOST_OPERATIONS) + " can be kept");
        }
        content_.next.definition = nextAfter(kept.id);
        if (content_.next.definition == kept.id) {
            throw InputError(place + ": no access definition id is left to give out");
        }
        content_.definitions.push_back(std::move(kept));
    }

    const Policy& policy_;
    Content content_;
    std::set<std::int32_t> roleIds_;
    std::set<std::string> roleNames_;
};

void requireEmpty(const Content& kept)
{
    const auto roles = std::count_if(kept.roles.begin(), kept.roles.end(),
                                     [](const RoleRecord& role) { return !role.systemDefined; });
    if (roles != 0 || !kept.operations.empty() || !kept.objects.empty() || !kept.definitions.empty()) {
        throw InputError("there are " + std::to_string(kept.objects.size()) + " objects, " +
                         std::to_string(kept.definitions.size()) + " access definitions, " +
                         std::to_string(roles) + " roles and " + std::to_string(kept.operations.size()) +
                         " operations already: with --replace, the policy takes their place");
    }
}

} // namespace

std::uint64_t importPolicy(Database& database, FileSystem& fileSystem, const CacheLocation& location,
                           const Policy& policy, Replace replace, Renumber renumber,
                           const WorkProgress& progress)
{
    const auto tell = [&progress](const char* work) {
        if (progress) {
            progress(work, 0, 0);
        }
    };
    tell("reading the database");
    Store store(database);
    const Content kept = store.load();
    if (replace == Replace::Refuse) {
        requireEmpty(kept);
    }
    const Content content = PolicyContent(policy, kept).make();
    const CacheImage image = imageOf(policy);
    // Refuses bits that contradict the published ones while nothing is stored yet.
    static_cast<void>(
        OperationCacheUpdate(fileSystem, location.operationCache(), policy.operations, renumber));
    store.replace(kept, content, localAuthor(), progress);
    tell("publishing the access cache");
    return publishCache(fileSystem, location, Rbac::ObjectNamespace(), image, policy.operations, renumber);
}

} // namespace keepsafe_sandbox
