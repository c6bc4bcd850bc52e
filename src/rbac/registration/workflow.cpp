/// Registering and unregistering one object.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "workflow_steps.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Service = DefaultObjectRegistrationService;

constexpr char REGISTER_TAG[] = "DefaultObjectRegistrationService::registerObject";
constexpr char UNREGISTER_TAG[] = "DefaultObjectRegistrationService::unregisterObject";

int registerPending(const Service& service, const boost::shared_ptr<ObjectRegistrationData>& data,
                    Service::RegisteredObject& registered, std::exception_ptr& cause) noexcept
{
    constexpr FailureTexts TEXTS{"Registration", nullptr,
                                 " failed, status=", " threw exception: ", " threw unknown exception."};
    return attempt(REGISTER_TAG, TEXTS, STATUS_OF_EXCEPTION, cause, [&] {
        registered = service.registerObjectWithStatePending(data);
        return Status::SUCCESS;
    });
}

int commit(const Service& service, const Service::RegisteredObject& registered,
           std::exception_ptr& cause) noexcept
{
    const char* const name = logForm(registered.first);
    const FailureTexts texts{"Failed to commit", name, nullptr,
                             ". exception: ", ". Unknown exception thrown."};
    logmsgf(Platform::LOG_LEVEL_DEBUG, REGISTER_TAG, "Callback success. Committing the object.");
    return attempt(REGISTER_TAG, texts, Status::COMMIT_FAILED, cause, [&] {
        service.bulkUpdateObjectState(registered.second, {}, {});
        logmsgf(Platform::LOG_LEVEL_INFORMATION, REGISTER_TAG, "Object successfully registered [%s]", name);
        return Status::SUCCESS;
    });
}

int rollBack(const Service& service, const Service::RegisteredObject& registered, int status,
             std::exception_ptr& cause) noexcept
{
    const char* const name = logForm(registered.first);
    const FailureTexts texts{"Failed to rollback", name, nullptr,
                             ". exception: ", ". Unknown exception thrown."};
    logmsgf(Platform::LOG_LEVEL_DEBUG, REGISTER_TAG,
            "Callback failed. Rolling back the object. callbackStatus=%d", status);
    return attempt(REGISTER_TAG, texts, Status::ROLLBACK_FAILED, cause, [&] {
        service.bulkUpdateObjectState({}, {}, registered.second);
        // An error although it succeeded: it is how this registration ends.
        logmsgf(Platform::LOG_LEVEL_ERROR, REGISTER_TAG, "Object successfully rolled back [%s]", name);
        return Status::REGISTRATION_ROLLED_BACK;
    });
}

/// How the steps of an unregistration fail.
FailureTexts unregisterTexts(const char* what, const char* object = nullptr) noexcept
{
    return {what, object, ", status=", ". Exception: ", ". Unknown exception occurred."};
}

int makePending(const Service& service, const ObjectNamespace& object, std::exception_ptr& cause) noexcept
{
    logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Unregistering %s", logForm(object));
    return attempt(UNREGISTER_TAG, unregisterTexts("Failed to update object to pending"), STATUS_OF_EXCEPTION,
                   cause, [&] {
                       service.changeObjectState(object, PENDING);
                       logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG,
                               "Updated [%s] state to PENDING", logForm(object));
                       return Status::SUCCESS;
                   });
}

int commitDeletion(const Service& service, const ObjectNamespace& object, std::exception_ptr& cause) noexcept
{
    const char* const name = logForm(object);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Callback success. Deleting object");
    return attempt(
        UNREGISTER_TAG, unregisterTexts("Failed to delete", name), Status::COMMIT_FAILED, cause, [&] {
            service.deleteObject(object);
            logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "[%s] unregistered successfully.", name);
            return Status::SUCCESS;
        });
}

int restore(const Service& service, const ObjectNamespace& object, int status,
            std::exception_ptr& cause) noexcept
{
    logmsgf(Platform::LOG_LEVEL_ERROR, UNREGISTER_TAG,
            "Callback failed, status=%d. Rolling back unregistration for [%s]", status, logForm(object));
    return attempt(UNREGISTER_TAG, unregisterTexts("Failed to rollback"), Status::ROLLBACK_FAILED, cause,
                   [&] {
                       service.changeObjectState(object, READY);
                       logmsgf(Platform::LOG_LEVEL_INFORMATION, UNREGISTER_TAG, "Rollback successful.");
                       return Status::UNREGISTRATION_ROLLED_BACK;
                   });
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
    std::exception_ptr ignored;
    return registerObject(data, callback, ignored);
}

int DefaultObjectRegistrationService::registerObject(
    const boost::shared_ptr<ObjectRegistrationData>& data,
    const boost::shared_ptr<ObjectRegistrationCallback>& callback, std::exception_ptr& cause)
{
    cause = nullptr;
    if (data == nullptr || data->accessControlAttributes == nullptr) {
        return missing(REGISTER_TAG, "ObjectRegistrationData and AccessControlAttributes are required");
    }
    if (!callback) {
        return missing(REGISTER_TAG, "ObjectRegistrationCallback is required");
    }
    RegisteredObject registered;
    const int registration = registerPending(*this, data, registered, cause);
    if (registration != Status::SUCCESS) {
        return notifyFailure(REGISTER_TAG, *callback, registration);
    }
    const int status = callbackStatus(REGISTER_TAG, cause, [&] { return callback->invoke(); });
    return status == Status::SUCCESS ? commit(*this, registered, cause)
                                     : rollBack(*this, registered, status, cause);
}

int DefaultObjectRegistrationService::unregisterObject(
    const ObjectNamespace& objectNamespace, const boost::shared_ptr<ObjectUnregistrationCallback>& callback)
{
    std::exception_ptr ignored;
    return unregisterObject(objectNamespace, callback, ignored);
}

int DefaultObjectRegistrationService::unregisterObject(
    const ObjectNamespace& objectNamespace, const boost::shared_ptr<ObjectUnregistrationCallback>& callback,
    std::exception_ptr& cause)
{
    cause = nullptr;
    if (!callback) {
        return missing(UNREGISTER_TAG, "ObjectUnregistrationCallback is required");
    }
    if (objectNamespace.is_root()) {
        return missing(UNREGISTER_TAG, "object Namespace is required");
    }
    const int update = makePending(*this, objectNamespace, cause);
    if (update != Status::SUCCESS) {
        return notifyFailure(UNREGISTER_TAG, *callback, update);
    }
    const int status = callbackStatus(UNREGISTER_TAG, cause, [&] { return callback->invoke(); });
    return status == Status::SUCCESS ? commitDeletion(*this, objectNamespace, cause)
                                     : restore(*this, objectNamespace, status, cause);
}

} // namespace Tessara::Keepsafe::Rbac
