/// Registering and unregistering one object.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "documents.h"
#include "workflow_steps.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Service = DefaultObjectRegistrationService;

constexpr char REGISTER_TAG[] = "DefaultObjectRegistrationService::registerObject";
constexpr char UNREGISTER_TAG[] = "DefaultObjectRegistrationService::unregisterObject";

int registerPending(const Service& service, const boost::shared_ptr<ObjectRegistrationData>& data,
                    Service::RegisteredObject& registered) noexcept
{
    try {
        registered = service.registerObjectWithStatePending(data);
        return Status::SUCCESS;
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Registration failed, status=%d",
                failureStatus(failure));
        return failureStatus(failure);
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Registration threw exception: %s", failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Registration threw unknown exception.");
    }
    return Status::CONVERSION_FAILED;
}

int commit(const Service& service, const Service::RegisteredObject& registered) noexcept
{
    const char* const name = logForm(registered.first);
    logmsgf(Platform::LOG_LEVEL_DEBUG, REGISTER_TAG, "Callback success. Committing the object.");
    try {
        service.bulkUpdateObjectState(registered.second, {}, {});
        logmsgf(Platform::LOG_LEVEL_INFORMATION, REGISTER_TAG, "Object successfully registered [%s]", name);
        return Status::SUCCESS;
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Failed to commit [%s]. exception: %s", name,
                failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Failed to commit [%s]. Unknown exception thrown.",
                name);
    }
    return Status::COMMIT_FAILED;
}

int rollBack(const Service& service, const Service::RegisteredObject& registered, int status) noexcept
{
    const char* const name = logForm(registered.first);
    logmsgf(Platform::LOG_LEVEL_DEBUG, REGISTER_TAG,
            "Callback failed. Rolling back the object. callbackStatus=%d", status);
    try {
        service.bulkUpdateObjectState({}, {}, registered.second);
        // An error although it succeeded: it is how this registration ends.
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Object successfully rolled back [%s]", name);
        return Status::REGISTRATION_ROLLED_BACK;
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Failed to rollback [%s]. exception: %s", name,
                failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Failed to rollback [%s]. Unknown exception thrown.",
                name);
    }
    return Status::ROLLBACK_FAILED;
}

int makePending(const Service& service, const ObjectNamespace& object) noexcept
{
    logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Unregistering %s", logForm(object));
    try {
        service.changeObjectState(object, PENDING);
        logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Updated [%s] state to PENDING",
                logForm(object));
        return Status::SUCCESS;
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to update object to pending, status=%d",
                failureStatus(failure));
        return failureStatus(failure);
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG,
                "Failed to update object to pending. Exception: %s", failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG,
                "Failed to update object to pending. Unknown exception occurred.");
    }
    return Status::CONVERSION_FAILED;
}

int commitDeletion(const Service& service, const ObjectNamespace& object) noexcept
{
    const char* const name = logForm(object);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Callback success. Deleting object");
    try {
        service.deleteObject(object);
        logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "[%s] unregistered successfully.", name);
        return Status::SUCCESS;
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to delete [%s], status=%d", name,
                failure.status());
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to delete [%s]. Exception: %s", name,
                failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG,
                "Failed to delete [%s]. Unknown exception occurred.", name);
    }
    return Status::COMMIT_FAILED;
}

int restore(const Service& service, const ObjectNamespace& object, int status) noexcept
{
    logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG,
            "Callback failed, status=%d. Rolling back unregistration for [%s]", status, logForm(object));
    try {
        service.changeObjectState(object, READY);
        logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Rollback successful.");
        return Status::UNREGISTRATION_ROLLED_BACK;
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to rollback, status=%d", failure.status());
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to rollback. Exception: %s",
                failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG, "Failed to rollback. Unknown exception occurred.");
    }
    return Status::ROLLBACK_FAILED;
}

int missing(const char* tag, const char* what) noexcept
{
    logmsgf(Platform::LOG_LEVEL_ERROR, tag, "%s", what);
    return Status::INVALID_ARGUMENT;
}

} // namespace

int DefaultObjectRegistrationService::registerObject(
    const boost::shared_ptr<ObjectRegistrationData>& data,
    const boost::shared_ptr<ObjectRegistrationCallback>& callback)
{
    if (!isComplete(data)) {
        return missing(REGISTER_TAG, "ObjectRegistrationData and AccessControlAttributes are required");
    }
    if (!callback) {
        return missing(REGISTER_TAG, "ObjectRegistrationCallback is required");
    }
    RegisteredObject registered;
    const int registration = registerPending(*this, data, registered);
    if (registration != Status::SUCCESS) {
        return notifyFailure(REGISTER_TAG, *callback, registration);
    }
    const int status = callbackStatus(REGISTER_TAG, [&] { return callback->invoke(); });
    return status == Status::SUCCESS ? commit(*this, registered) : rollBack(*this, registered, status);
}

int DefaultObjectRegistrationService::unregisterObject(
    const ObjectNamespace& objectNamespace, const boost::shared_ptr<ObjectUnregistrationCallback>& callback)
{
    if (!callback) {
        return missing(UNREGISTER_TAG, "ObjectUnregistrationCallback is required");
    }
    if (objectNamespace.is_root()) {
        return missing(UNREGISTER_TAG, "object Namespace is required");
    }
    const int update = makePending(*this, objectNamespace);
    if (update != Status::SUCCESS) {
        return notifyFailure(UNREGISTER_TAG, *callback, update);
    }
    const int status = callbackStatus(UNREGISTER_TAG, [&] { return callback->invoke(); });
    return status == Status::SUCCESS ? commitDeletion(*this, objectNamespace)
                                     : restore(*this, objectNamespace, status);
}

} // namespace Tessara::Keepsafe::Rbac
