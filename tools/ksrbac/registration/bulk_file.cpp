#include "registration/bulk_file.h"

#include <cstddef>
#include <map>

#include "JsonHandle.h"
#include "cli/arguments.h"
#include "exit_status.h"
#include "io/input.h"
#include "output/escape.h"
#include "registration/JsonPlace.h"

namespace ksrbac {

namespace Rbac = Tessara::Keepsafe::Rbac;
using Tessara::Keepsafe::JsonHandle;

namespace {

constexpr std::size_t MOST_MEBIBYTES = 64;

Rbac::ObjectNamespace toNamespace(const JsonPlace& place)
{
    return parseNamespace(place.where(), place.text());
}

std::list<Rbac::ObjectNamespace> toNamespaces(const JsonPlace& place)
{
    std::list<Rbac::ObjectNamespace> names;
    for (const JsonPlace& element : place.elements()) {
        names.push_back(toNamespace(element));
    }
    return names;
}

GrantRequest toGrant(const JsonPlace& place)
{
    place.expectObject({"role", "operations", "propagation"});
    GrantRequest grant;
    grant.roleId = place.member("role").roleId();
    grant.operations = toNamespaces(place.member("operations"));
    if (grant.operations.empty()) {
        place.member("operations").refuse("no operation");
    }
    if (const auto propagation = place.optionalMember("propagation")) {
        grant.propagation = parsePropagation(propagation->where(), propagation->text());
    }
    return grant;
}

ObjectRequest toRequest(const JsonPlace& place)
{
    place.expectObject({"namespace", "type", "children", "inherit", "grants", "ignoreRegistered"});
    ObjectRequest request;
    request.object = toNamespace(place.member("namespace"));
    request.type = place.member("type").text();
    if (const auto children = place.optionalMember("children")) {
        request.children = toNamespaces(*children);
    }
    if (const auto inherit = place.optionalMember("inherit")) {
        request.inherit = inherit->boolean();
    }
    if (const auto grants = place.optionalMember("grants")) {
        for (const JsonPlace& grant : grants->elements()) {
            request.grants.push_back(toGrant(grant));
        }
    }
    if (const auto ignoreRegistered = place.optionalMember("ignoreRegistered")) {
        request.ignoreRegistered = ignoreRegistered->boolean();
    }
    return request;
}

JsonHandle parse(const std::string& name, const std::string& text)
{
    json_error_t error = {};
    JsonHandle document(json_loadb(text.data(), text.size(), JSON_REJECT_DUPLICATES, &error));
    if (!document) {
        throw InputError(name + ": line " + std::to_string(error.line) + ", column " +
                         std::to_string(error.column) + ": " + escapeForMessage(error.text));
    }
    return document;
}

} // namespace

std::vector<ObjectRequest> readBulkFile(const std::string& path)
{
    constexpr std::size_t mostBytes = MOST_MEBIBYTES * 1024 * 1024;
    const std::string name = inputName(path);
    const std::string text = readUpToLimit(path, mostBytes);
    if (text.size() > mostBytes) {
        throw InputError(name + ": more than " + std::to_string(MOST_MEBIBYTES) + " MiB");
    }
    const JsonHandle document = parse(name, text);
    const JsonPlace records(name, document.get());
    std::vector<ObjectRequest> requests;
    std::map<Rbac::ObjectNamespace, std::string> places;
    for (const JsonPlace& record : records.elements()) {
        requests.push_back(toRequest(record));
        const auto [first, isNew] = places.emplace(requests.back().object, record.path());
        if (!isNew) {
            record.member("namespace")
                .refuse(first->first.str() + " is given twice, first in " + first->second);
        }
    }
    if (requests.empty()) {
        records.refuse("no object");
    }
    return requests;
}

} // namespace ksrbac
