// Managed objects and the access definitions on them.

#include "resources/Router.h"
#include "resources/request_documents.h"
#include "resources/response_documents.h"

namespace keepsafe_service {

using Tessara::Keepsafe::Rbac::ObjectNamespace;

namespace {

ObjectNamespace objectOf(const ResourceCall& call)
{
    call.target.expectNoQuery();
    return namespaceOf(call.names[0]);
}

ServiceResponse getObject(const ResourceCall& call)
{
    return {200, objectDocument(call.accessControl.object(objectOf(call))), ""};
}

ServiceResponse setInherit(const ResourceCall& call)
{
    const ObjectNamespace ns = objectOf(call);
    call.accessControl.setInherit(ns, readInherit(call.body), call.client);
    return {204, "", ""};
}

ServiceResponse getDefinitions(const ResourceCall& call)
{
    return {200, definitionsDocument(call.accessControl.accessDefinitions(objectOf(call))), ""};
}

ServiceResponse addDefinition(const ResourceCall& call)
{
    const ObjectNamespace ns = objectOf(call);
    const AccessDefinitionRecord added =
        call.accessControl.addAccessDefinition(ns, readGrant(call.body), call.client);
    return {201, definitionDocument(added), ""};
}

ServiceResponse deleteDefinition(const ResourceCall& call)
{
    const ObjectNamespace ns = objectOf(call);
    (void)idOf(call.names[1], "the access definition's id");
    call.accessControl.deleteAccessDefinition(ns, call.names[1], call.client);
    return {204, "", ""};
}

} // namespace

std::vector<Route> objectRoutes()
{
    return {{"GET", {"managed-objects", "*"}, getObject},
            {"PATCH", {"managed-objects", "*"}, setInherit},
            {"GET", {"managed-objects", "*", "access-definitions"}, getDefinitions},
            {"POST", {"managed-objects", "*", "access-definitions"}, addDefinition},
            {"DELETE", {"managed-objects", "*", "access-definitions", "*"}, deleteDefinition}};
}

} // namespace keepsafe_service
