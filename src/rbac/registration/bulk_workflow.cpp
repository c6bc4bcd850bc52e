/// Registering many objects.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "workflow_steps.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

using Service = DefaultObjectRegistrationService;

constexpr char BULK_REGISTER_TAG[] = "DefaultObjectRegistrationService::bulkRegisterObjects";

/// The missing argument; null if there is none.
const char* missingArgument(const Service::DataList& data, bool hasCallback) noexcept
{
    if (data.empty()) {
        return "bulkRegistrationData must not be empty";
    }
    return hasCallback ? nullptr : "callback is required";
}

int registerPending(const Service& service, const Service::DataList& data,
                    Service::RegisteredObjects& registered, std::exception_ptr& cause) noexcept
{
    constexpr FailureTexts TEXTS{"Registration failed", nullptr,
                                 ", status=", " with exception: ", " with unknown exception."};
    logmsgf(Platform::LOG_LEVEL_INFORMATION, BULK_REGISTER_TAG, "Registering %lu objects", data.size());
    return attempt(BULK_REGISTER_TAG, TEXTS, STATUS_OF_EXCEPTION, cause, [&] {
        registered = service.bulkRegisterObjectsWithStatePending(data);
        return Status::SUCCESS;
    });
}

/// Commits the objects whose work succeeded and rolls back the others, in one request. Returns `result` when
/// that succeeds.
int updateStates(const Service& service, const std::set<ObjectNamespace>& successful,
                 Service::RegisteredObjects& registered, int result, std::exception_ptr& cause) noexcept
{
    constexpr FailureTexts TEXTS{"State update failed", nullptr,
                                 ", status=", " with exception: ", " with unknown exception."};
    // STATE_UPDATE_FAILED whatever the callback's outcome.
    return attempt(BULK_REGISTER_TAG, TEXTS, Status::STATE_UPDATE_FAILED, cause, [&] {
        std::list<ObjectNamespace> ready;
        std::list<ObjectNamespace> deleted;
        // Both are in the order of names.
        auto candidate = successful.begin();
        for (auto& [object, namespaces] : registered) {
            while (candidate != successful.end() && *candidate < object) {
                ++candidate;
            }
            const bool succeeded = candidate != successful.end() && *candidate == object;
            std::list<ObjectNamespace>& group = succeeded ? ready : deleted;
            group.splice(group.end(), namespaces);
        }
        service.bulkUpdateObjectState(ready, {}, deleted);
        logmsgf(Platform::LOG_LEVEL_DEBUG, BULK_REGISTER_TAG, "Successfully updated object states.");
        return result;
    });
}

/// The result according to the callback's set.
int compare(std::size_t successful, std::size_t all) noexcept
{
    if (successful == all) {
        logmsgf(Platform::LOG_LEVEL_DEBUG, BULK_REGISTER_TAG, "Callback success. Committing objects.");
        return Status::SUCCESS;
    }
    logmsgf(Platform::LOG_LEVEL_ERROR, BULK_REGISTER_TAG,
            "Callback failed. successful=%lu, failed=%lu. Committing successful, rolling back failed.",
            successful, all - successful);
    return Status::REGISTRATION_ROLLED_BACK;
}

} // namespace

int DefaultObjectRegistrationService::bulkRegisterObjects(
    const DataList& data, const boost::shared_ptr<BulkObjectRegistrationCallback>& callback)
{
    std::exception_ptr ignored;
    return bulkRegisterObjects(data, callback, ignored);
}

int DefaultObjectRegistrationService::bulkRegisterObjects(
    const DataList& data, const boost::shared_ptr<BulkObjectRegistrationCallback>& callback,
    std::exception_ptr& cause)
{
    cause = nullptr;
    if (const char* const missing = missingArgument(data, callback != nullptr)) {
        logmsgf(Platform::LOG_LEVEL_ERROR, BULK_REGISTER_TAG, "%s", missing);
        return Status::INVALID_ARGUMENT;
    }
    RegisteredObjects registered;
    const int registration = registerPending(*this, data, registered, cause);
    if (registration != Status::SUCCESS) {
        return notifyFailure(BULK_REGISTER_TAG, *callback, registration);
    }
    logmsgf(Platform::LOG_LEVEL_DEBUG, BULK_REGISTER_TAG,
            "Successfully registered the objects in PENDING state.");
    std::set<ObjectNamespace> successful;
    const int work = callbackStatus(BULK_REGISTER_TAG, cause, [&] {
        (void)callback->invoke(successful);
        return Status::SUCCESS;
    });
    if (work != Status::SUCCESS) {
        successful.clear();
    }
    return updateStates(*this, successful, registered, compare(successful.size(), data.size()), cause);
}

} // namespace Tessara::Keepsafe::Rbac
