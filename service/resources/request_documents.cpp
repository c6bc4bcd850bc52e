#include "resources/request_documents.h"

#include <new>
#include <utility>

#include <boost/lexical_cast.hpp>

#include "accesscontrol/Refusal.h"
#include "errors/InputError.h"
#include "fault_text.h"
#include "load.h"
#include "resources/RequestTarget.h"
#include "json/Element.h"
#include "json/json_text.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ManagedObjectState;
using Tessara::Keepsafe::Rbac::Propagation;

namespace {

[[noreturn]] void invalid(const Element& element, const std::string& what)
{
    throw Refusal(Refusal::Invalid, element.place() + ": " + what);
}

Element memberOf(const Element& object, const char* name)
{
    object.expectObject();
    return object.member(name);
}

void expectType(const Element& resource, const std::string& wanted)
{
    const Element type = memberOf(resource, "type");
    const std::string word = type.text();
    if (word != wanted) {
        throw Refusal(Refusal::WrongType,
                      type.place() + ": expected " + quoted(wanted) + ", found " + quoted(word));
    }
}

JsonHandle parse(const std::string& body)
{
    json_error_t error;
    JsonHandle document = Tessara::Keepsafe::loadJson(body, error, JSON_REJECT_DUPLICATES);
    if (document == nullptr && error.text[0] == '\0') {
        throw std::bad_alloc(); // the parser has found no fault
    }
    if (document == nullptr) {
        throw Refusal(Refusal::Malformed,
                      "the request's body is not JSON: " + Tessara::Keepsafe::faultText(error));
    }
    return document;
}

/// What `read` makes of the member "data".
template <typename Read>
auto readData(const std::string& body, Read read) -> decltype(read(std::declval<const Element&>()))
{
    const JsonHandle document = parse(body);
    try {
        return read(memberOf(Element(document.get()), "data"));
    } catch (const InputError& error) {
        throw Refusal(Refusal::Malformed, error.what());
    }
}

Propagation toPropagation(const Element& element)
{
    const std::string word = element.text();
    Propagation propagation;
    if (!boost::conversion::try_lexical_convert(word, propagation)) {
        invalid(element, quoted(word) + " is none of OBJECT, CHILDREN and OBJECT_AND_CHILDREN");
    }
    return propagation;
}

ManagedObjectState toState(const Element& element)
{
    namespace Rbac = Tessara::Keepsafe::Rbac;
    const std::string word = element.text();
    if (word == Rbac::READY_STR) {
        return Rbac::READY;
    }
    if (word == Rbac::PENDING_STR) {
        return Rbac::PENDING;
    }
    if (word == Rbac::DELETED_STR) {
        return Rbac::DELETED;
    }
    invalid(element, quoted(word) + " is none of READY, PENDING and DELETED");
}

/// One of the grants in accessControlAttributes.
Grant toAttributeGrant(const Element& element)
{
    element.expectObject({"roleId", "operations", "propagation"});
    Grant grant;
    grant.roleId = element.member("roleId").integer(0);
    for (const Element& operation : element.member("operations").items()) {
        grant.operations.push_back(operation.objectNamespace());
    }
    grant.propagation = element.hasMember("propagation") ? toPropagation(element.member("propagation"))
                                                         : Propagation::OBJECT_AND_CHILDREN;
    return grant;
}

void readAttributes(const Element& element, Registration& registration)
{
    if (element.isNull()) {
        return;
    }
    element.expectObject({"inherit", "accessDefinitions"});
    if (element.hasMember("inherit")) {
        registration.inherit = element.member("inherit").boolean();
    }
    if (element.hasMember("accessDefinitions")) {
        for (const Element& definition : element.member("accessDefinitions").items()) {
            registration.grants.push_back(toAttributeGrant(definition));
        }
    }
}

Registration toRegistration(const Element& record)
{
    expectType(record, "objectRegistrationData");
    Registration registration;
    registration.ns = record.member("id").objectNamespace();
    const Element attributes = record.member("attributes");
    registration.type = memberOf(attributes, "objectType").text();
    registration.ignoreAlreadyRegistered = attributes.member("ignoreAlreadyRegistered").boolean();
    readAttributes(attributes.member("accessControlAttributes"), registration);
    for (const Element& child : attributes.member("relativeChildNamespaces").items()) {
        registration.children.push_back(registration.ns | child.objectNamespace());
    }
    return registration;
}

StateChange toStateChange(const Element& record)
{
    StateChange change;
    change.ns = memberOf(record, "objectId").objectNamespace();
    change.state = toState(record.member("state"));
    return change;
}

} // namespace

RoleText readRole(const std::string& body)
{
    return readData(body, [](const Element& role) {
        expectType(role, "accessControlRole");
        const Element attributes = role.member("attributes");
        RoleText text;
        text.name = memberOf(attributes, "name").text();
        if (attributes.hasMember("description")) {
            text.description = attributes.member("description").text();
        }
        return text;
    });
}

bool readInherit(const std::string& body)
{
    return readData(body, [](const Element& object) {
        expectType(object, "managedObject");
        return memberOf(object.member("attributes"), "inherit").boolean();
    });
}

Grant readGrant(const std::string& body)
{
    return readData(body, [](const Element& definition) {
        expectType(definition, "accessDefinition");
        Grant grant;
        grant.propagation = toPropagation(memberOf(definition.member("attributes"), "propagation"));
        const Element relationships = definition.member("relationships");
        const Element role = memberOf(memberOf(relationships, "role"), "data");
        expectType(role, "accessControlRole");
        const Element roleId = role.member("id");
        grant.roleId = idOf(roleId.text(), roleId.place());
        for (const Element& operation : memberOf(memberOf(relationships, "operations"), "data").items()) {
            expectType(operation, "accessControlOperation");
            grant.operations.push_back(operation.member("id").objectNamespace());
        }
        return grant;
    });
}

Registration readRegistration(const std::string& body) { return readData(body, toRegistration); }

std::vector<Registration> readRegistrations(const std::string& body)
{
    return readData(body, [](const Element& data) {
        std::vector<Registration> registrations;
        for (const Element& record : data.items()) {
            registrations.push_back(toRegistration(record));
        }
        if (registrations.empty()) {
            invalid(data, "nothing is to be registered");
        }
        return registrations;
    });
}

std::vector<StateChange> readStateChanges(const std::string& body)
{
    return readData(body, [](const Element& update) {
        expectType(update, "managedObjectUpdate");
        std::vector<StateChange> changes;
        const Element records = memberOf(update.member("attributes"), "managedObjectsWithAttributes");
        for (const Element& record : records.items()) {
            changes.push_back(toStateChange(record));
        }
        return changes;
    });
}

} // namespace keepsafe_service
