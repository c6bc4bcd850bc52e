#ifndef KEEPSAFE_RBAC_REGISTRATION_WORKFLOW_STEPS_H
#define KEEPSAFE_RBAC_REGISTRATION_WORKFLOW_STEPS_H

#include <exception>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file
/// What the workflows share. Nothing here throws, so that a step that has reached the service is never
/// reported by the exception of what comes after it.

namespace Tessara::Keepsafe::Rbac {

/// The text form for a line in the log, also when there is no memory for it.
inline const char* logForm(const ObjectNamespace& objectNamespace) noexcept
{
    try {
        return objectNamespace.toLogStr().c_str();
    } catch (...) {
        return "[conversion failed]";
    }
}

/// The status of a failure, which is not 0 even if the exception says so.
inline int failureStatus(const EC_exception& failure) noexcept
{
    return failure.status() == Status::SUCCESS ? Status::CONVERSION_FAILED : failure.status();
}

/// Runs a callback's `invoke`. Returns its status; an exception is a failure.
template <typename Invoke>
int callbackStatus(const char* tag, const Invoke& invoke) noexcept
{
    try {
        return invoke();
    } catch (const EC_exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Callback threw exception, status=%d",
                failureStatus(failure));
        return failureStatus(failure);
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Callback threw exception: %s", failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "Callback threw unknown exception.");
    }
    return Status::CONVERSION_FAILED;
}

/// Tells a callback that the first phase failed. Returns the status.
template <typename Callback>
int notifyFailure(const char* tag, Callback& callback, int status) noexcept
{
    try {
        callback.notifyFailure(status);
    } catch (const std::exception& failure) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "notifyFailure threw exception: %s", failure.what());
    } catch (...) {
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "notifyFailure threw unknown exception.");
    }
    return status;
}

} // namespace Tessara::Keepsafe::Rbac

#endif
