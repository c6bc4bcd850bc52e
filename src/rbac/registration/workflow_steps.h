#ifndef KEEPSAFE_RBAC_REGISTRATION_WORKFLOW_STEPS_H
#define KEEPSAFE_RBAC_REGISTRATION_WORKFLOW_STEPS_H

#include <exception>
#include <string>

#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/namespace/ObjectNamespace.h>

/// \file Common parts of the workflows. Nothing here throws, so that a step that has reached the service is
/// never hidden by an exception of a later step.

namespace Tessara::Keepsafe::Rbac {

/// The text form for a log line, even if memory runs out.
inline const char* logForm(const ObjectNamespace& objectNamespace) noexcept
{
    try {
        return objectNamespace.toLogStr().c_str();
    } catch (...) {
        return "[conversion failed]";
    }
}

/// The log line of a failed step: "WHAT [OBJECT]", and then the failure.
struct FailureTexts {
    const char* what;
    const char* object;    ///< null: not named
    const char* status;    ///< before the status of an `EC_exception`; null: treated like any other exception
    const char* exception; ///< before the text of another exception
    const char* unknown;
};

/// For `attempt`: the status is the one that an `EC_exception` carries, or 114 where it carries 0 or the
/// exception is another.
constexpr int STATUS_OF_EXCEPTION = Status::SUCCESS;

/// Runs a step, which returns its status. An exception is logged as an error and kept in `cause`, and the
/// status is `otherwise`.
template <typename Work>
int attempt(const char* tag, const FailureTexts& texts, int otherwise, std::exception_ptr& cause,
            const Work& work) noexcept
{
    const auto log = [&](const char* how, const char* detail) {
        const bool isNamed = texts.object != nullptr;
        logmsgf(Platform::LOG_LEVEL_ERROR, tag, "%s%s%s%s%s%s", texts.what, isNamed ? " [" : "",
                isNamed ? texts.object : "", isNamed ? "]" : "", how, detail);
    };
    int status = otherwise == STATUS_OF_EXCEPTION ? Status::CONVERSION_FAILED : otherwise;
    try {
        return work();
    } catch (const EC_exception& failure) {
        cause = std::current_exception();
        if (otherwise == STATUS_OF_EXCEPTION && failure.status() != Status::SUCCESS) {
            status = failure.status();
        }
        if (texts.status == nullptr) {
            log(texts.exception, failure.what());
        } else {
            const int shown = otherwise == STATUS_OF_EXCEPTION ? status : failure.status();
            log(texts.status, std::to_string(shown).c_str()); // short enough to need no memory
        }
    } catch (const std::exception& failure) {
        cause = std::current_exception();
        log(texts.exception, failure.what());
    } catch (...) {
        cause = std::current_exception();
        log(texts.unknown, "");
    }
    return status;
}

/// Runs a callback's `invoke`, which returns its status; an exception is a failure.
template <typename Invoke>
int callbackStatus(const char* tag, std::exception_ptr& cause, const Invoke& invoke) noexcept
{
    return attempt(tag,
                   {"Callback threw", nullptr, " exception, status=", " exception: ", " unknown exception."},
                   STATUS_OF_EXCEPTION, cause, invoke);
}

/// Notifies a callback that the first phase failed. Returns the status.
template <typename Callback>
int notifyFailure(const char* tag, Callback& callback, int status) noexcept
{
    std::exception_ptr ignored;
    return attempt(tag, {"notifyFailure threw", nullptr, nullptr, " exception: ", " unknown exception."},
                   status, ignored, [&] {
                       callback.notifyFailure(status);
                       return status;
                   });
}

} // namespace Tessara::Keepsafe::Rbac

#endif
