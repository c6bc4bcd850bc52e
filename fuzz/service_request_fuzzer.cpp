// A request to the access-control service, before it reaches the service's store: the first byte chooses
// which document or part of a target the rest is. The result is valid, or it is rejected with a message that
// becomes an error document.

#include <cstddef>
#include <cstdint>
#include <string>

#include <boost/lexical_cast.hpp>
#include <jansson.h>

#include "accesscontrol/Refusal.h"
#include "resources/Filter.h"
#include "resources/RequestTarget.h"
#include "resources/error_documents.h"
#include "resources/request_documents.h"
#include "resources/response_documents.h"
#include "json/json_text.h"

#include "require.h"

namespace {

using namespace keepsafe_service;
using Tessara::Keepsafe::Rbac::ObjectNamespace;

void requireName(const ObjectNamespace& name)
{
    require(boost::lexical_cast<ObjectNamespace>(name.str()) == name, "a name survives its text form");
}

void requireJson(const std::string& document)
{
    const JsonHandle parsed(json_loadb(document.data(), document.size(), 0, nullptr));
    require(json_is_object(parsed.get()), "a document of the service is JSON");
}

void check(const Grant& grant)
{
    require(grant.roleId >= 0, "a role's id is never negative");
    for (const ObjectNamespace& operation : grant.operations) {
        requireName(operation);
    }
    requireJson(definitionDocument({"1", ObjectNamespace("A"), grant}));
}

void check(const Registration& registration)
{
    requireName(registration.ns);
    for (const Grant& grant : registration.grants) {
        check(grant);
    }
    for (const ObjectNamespace& child : registration.children) {
        require(registration.ns.is_ancestor_of(child), "a child lies at or below its object");
    }
    requireJson(registrationDocument({registration.ns, registration.children}));
    requireJson(objectDocument({registration.ns, registration.type, registration.inherit}));
}

void checkTarget(const std::string& text)
{
    const RequestTarget target = RequestTarget::parse(text);
    require(!target.segments.empty(), "a path has a segment");
    for (const std::string& segment : target.segments) {
        try {
            requireName(namespaceOf(segment));
            require(idOf(segment, "id") >= 0, "an id is never negative");
        } catch (const Refusal& refusal) {
            require(*refusal.what() != '\0', "a refusal has a message");
        }
    }
    (void)target.filter();
}

void checkFilter(const std::string& text)
{
    const Filter filter = Filter::parse(text, {"id", "name"});
    const bool first = filter.matches([](std::size_t) { return std::string("value"); });
    require(first == filter.matches([](std::size_t) { return std::string("value"); }),
            "a filter decides alike each time");
}

void run(unsigned kind, const std::string& text)
{
    switch (kind % 8) {
    case 0:
        requireJson(roleDocument({1, readRole(text).name, readRole(text).description, false}));
        break;
    case 1:
        (void)readInherit(text);
        break;
    case 2:
        check(readGrant(text));
        break;
    case 3:
        check(readRegistration(text));
        break;
    case 4:
        for (const Registration& registration : readRegistrations(text)) {
            check(registration);
        }
        break;
    case 5:
        for (const StateChange& change : readStateChanges(text)) {
            requireName(change.ns);
        }
        break;
    case 6:
        checkTarget(text);
        break;
    default:
        checkFilter(text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    try {
        run(data[0], std::string(data + 1, data + size));
    } catch (const Refusal& refusal) {
        require(*refusal.what() != '\0', "a refusal has a message");
        const ServiceResponse response = refusalResponse(refusal);
        require(response.status >= 400 && response.status < 500, "a refusal is the client's fault");
        requireJson(response.body);
    }
    return 0;
}
