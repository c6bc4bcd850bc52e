// Registration of objects, single and bulk, and the changes of their states.

#include "resources/Router.h"
#include "resources/request_documents.h"
#include "resources/response_documents.h"

namespace keepsafe_service {

namespace {

ServiceResponse registerObject(const ResourceCall& call)
{
    call.target.expectNoQuery();
    const std::vector<RegisteredObjects> registered =
        call.accessControl.registerObjects({readRegistration(call.body)}, call.client);
    return {201, registrationDocument(registered.at(0)), ""};
}

ServiceResponse registerObjects(const ResourceCall& call)
{
    call.target.expectNoQuery();
    const std::vector<RegisteredObjects> registered =
        call.accessControl.registerObjects(readRegistrations(call.body), call.client);
    return {201, registrationsDocument(registered), ""};
}

ServiceResponse updateStates(const ResourceCall& call)
{
    call.target.expectNoQuery();
    call.accessControl.updateStates(readStateChanges(call.body), call.client);
    return {201, stateUpdateDocument(), ""};
}

} // namespace

std::vector<Route> registrationRoutes()
{
    return {{"POST", {"object-registration-requests"}, registerObject},
            {"POST", {"bulk-object-registration-requests"}, registerObjects},
            {"POST", {"bulk-object-update-requests"}, updateStates}};
}

} // namespace keepsafe_service
