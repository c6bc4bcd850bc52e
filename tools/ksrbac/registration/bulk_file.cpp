#include "registration/bulk_file.h"

#include <cstddef>
#include <cstdint>
#include <map>

#include "JsonPlace.h"
#include "cli/arguments.h"
#include "io/DocumentFaults.h"
#include "io/read_document.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;

namespace {

constexpr DocumentLimit LIMIT{std::size_t{64} << 20U, "64 MiB"};

/// All integers of the file are ids of roles.
struct BulkFileFaults : DocumentFaults {
    static std::string wrongType(json_type expected, const json_t* found)
    {
        return expected == JSON_INTEGER ? NO_ROLE_ID : DocumentFaults::wrongType(expected, found);
    }
    static std::string outOfRange(json_int_t /*number*/, std::int32_t /*least*/, std::int32_t /*most*/)
    {
        return NO_ROLE_ID;
    }

private:
    static constexpr char NO_ROLE_ID[] =
        "neither a role id, which is a number from 0 to 2147483647, nor the name of a role";
};
using Place = Tessara::Keepsafe::JsonPlace<BulkFileFaults>;

/// A role that is given by its name, and where.
struct NamedRole {
    Place place;
    std::size_t request;
    std::size_t grant;
};
using NamedRoles = std::vector<NamedRole>;

std::list<Rbac::ObjectNamespace> toNamespaces(const Place& place)
{
    std::list<Rbac::ObjectNamespace> names;
    for (const Place& element : place.items()) {
        names.push_back(element.objectNamespace());
    }
    return names;
}

/// Whether the role is given by its name. A number in quotes may be meant either way, and is refused.
bool isName(const Place& role)
{
    if (!role.isText()) {
        return false;
    }
    const std::string text = role.text();
    if (text.find_first_not_of("-0123456789") == std::string::npos) {
        (void)role.integer(0);
    }
    return true;
}

GrantRequest toGrant(const Place& place)
{
    place.expectObject({"role", "operations", "propagation"});
    GrantRequest grant;
    const Place role = place.member("role");
    if (!isName(role)) {
        grant.roleId = role.integer(0);
    }
    grant.operations = toNamespaces(place.member("operations"));
    if (grant.operations.empty()) {
        place.member("operations").fail("no operation");
    }
    if (const auto propagation = place.optionalMember("propagation")) {
        grant.propagation = parsePropagation(propagation->place(), propagation->text());
    }
    return grant;
}

ObjectRequest toRequest(const Place& place, std::size_t position, NamedRoles& named)
{
    place.expectObject({"namespace", "type", "children", "inherit", "grants", "ignoreRegistered"});
    ObjectRequest request;
    request.object = place.member("namespace").objectNamespace();
    request.type = place.member("type").text();
    if (const auto children = place.optionalMember("children")) {
        request.children = toNamespaces(*children);
    }
    if (const auto inherit = place.optionalMember("inherit")) {
        request.inherit = inherit->boolean();
    }
    if (const auto grants = place.optionalMember("grants")) {
        for (const Place& grant : grants->items()) {
            request.grants.push_back(toGrant(grant));
            if (const Place role = grant.member("role"); role.isText()) {
                named.push_back({role, position, request.grants.size() - 1});
            }
        }
    }
    if (const auto ignoreRegistered = place.optionalMember("ignoreRegistered")) {
        request.ignoreRegistered = ignoreRegistered->boolean();
    }
    return request;
}

std::vector<ObjectRequest> toRequests(const Place& records, RoleNames& names)
{
    std::vector<ObjectRequest> requests;
    NamedRoles named;
    std::map<Rbac::ObjectNamespace, std::string> places;
    for (const Place& record : records.items()) {
        requests.push_back(toRequest(record, requests.size(), named));
        const auto [first, isNew] = places.emplace(requests.back().object, record.place());
        if (!isNew) {
            record.member("namespace")
                .fail(first->first.str() + " is given twice, first in " + first->second);
        }
    }
    if (requests.empty()) {
        records.fail("no object");
    }
    for (const NamedRole& role : named) {
        requests[role.request].grants[role.grant].roleId =
            *names.idsOf(role.place.place(), {role.place.text()}).begin();
    }
    return requests;
}

} // namespace

std::vector<ObjectRequest> readBulkFile(const std::string& path, RoleNames& names)
{
    std::vector<ObjectRequest> requests;
    readDocument(path, LIMIT, [&](json_t* document) { requests = toRequests(Place(document), names); });
    return requests;
}

} // namespace ksrbac
