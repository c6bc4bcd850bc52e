#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <boost/make_shared.hpp>

#include "exchange.h"
#include "fail.h"
#include "wire_text.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char CONSTRUCTOR_TAG[] = "DefaultObjectRegistrationService::DefaultObjectRegistrationService";

} // namespace

ObjectRegistrationCallback::~ObjectRegistrationCallback() = default;
BulkObjectRegistrationCallback::~BulkObjectRegistrationCallback() = default;
ObjectUnregistrationCallback::~ObjectUnregistrationCallback() = default;
ObjectRegistrationService::~ObjectRegistrationService() = default;
DefaultObjectRegistrationService::~DefaultObjectRegistrationService() = default;

const std::string DefaultObjectRegistrationService::OBJECT_REGISTRATION_URI =
    "keepsafe/access-control/object-registration-requests";
const std::string DefaultObjectRegistrationService::BULK_OBJECT_REGISTRATION_URI =
    "keepsafe/access-control/bulk-object-registration-requests";
const std::string DefaultObjectRegistrationService::BULK_OBJECT_UPDATE_URI =
    "keepsafe/access-control/bulk-object-update-requests";
const std::string DefaultObjectRegistrationService::MANAGED_OBJECT_URI =
    "keepsafe/access-control/managed-objects";

DefaultObjectRegistrationService::DefaultObjectRegistrationService()
    : DefaultObjectRegistrationService(MASTER_SERVER_PORT,
                                       boost::make_shared<KSClientCURLFactory>(CERT_TYPE_HOST))
{
}

DefaultObjectRegistrationService::DefaultObjectRegistrationService(
    int port, boost::shared_ptr<KSClientCURL_BaseFactory> factory)
    : port_(port), masterServer_(masterServer(CONSTRUCTOR_TAG)), factory_(std::move(factory))
{
}

DefaultObjectRegistrationService::RegisteredObject
DefaultObjectRegistrationService::registerObjectWithStatePending(
    const boost::shared_ptr<ObjectRegistrationData>& data) const
{
    std::string response;
    sendHttpRequest(HTTP_REQUEST_POST, OBJECT_REGISTRATION_URI, registrationText(data, Attributes::Written),
                    response);
    return extractRegisteredNamespaces(response);
}

DefaultObjectRegistrationService::RegisteredObjects
DefaultObjectRegistrationService::bulkRegisterObjectsWithStatePending(const DataList& data) const
{
    std::string response;
    sendHttpRequest(HTTP_REQUEST_POST, BULK_OBJECT_REGISTRATION_URI,
                    bulkRegistrationText(data, Attributes::Written), response);
    return extractBulkRegisteredNamespaces(response);
}

void DefaultObjectRegistrationService::bulkUpdateObjectState(const std::list<ObjectNamespace>& ready,
                                                             const std::list<ObjectNamespace>& pending,
                                                             const std::list<ObjectNamespace>& deleted) const
{
    logmsgf(Platform::LOG_LEVEL_INFORMATION, "DefaultObjectRegistrationService::bulkUpdateObjectState",
            "Updating object state. ready=%lu, pending=%lu, deleted=%lu", ready.size(), pending.size(),
            deleted.size());
    sendHttpRequest(HTTP_REQUEST_POST, BULK_OBJECT_UPDATE_URI, bulkStateUpdateText(ready, pending, deleted));
}

void DefaultObjectRegistrationService::changeObjectState(const ObjectNamespace& objectNamespace,
                                                         ManagedObjectState state) const
{
    switch (state) {
    case READY:
        return bulkUpdateObjectState({objectNamespace}, {}, {});
    case PENDING:
        return bulkUpdateObjectState({}, {objectNamespace}, {});
    case DELETED:
        return bulkUpdateObjectState({}, {}, {objectNamespace});
    }
    diagnostics::fail(Status::INVALID_ARGUMENT, "DefaultObjectRegistrationService::changeObjectState",
                      "Unknown object state, " + std::to_string(static_cast<int>(state)));
}

void DefaultObjectRegistrationService::deleteObject(const ObjectNamespace& objectNamespace) const
{
    changeObjectState(objectNamespace, DELETED);
}

} // namespace Tessara::Keepsafe::Rbac
