#ifndef KSRBAC_REGISTRATION_REGISTER_THROUGH_H
#define KSRBAC_REGISTRATION_REGISTER_THROUGH_H

#include <exception>
#include <string>

#include <boost/shared_ptr.hpp>

#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "registration/callbacks.h"
#include "service/ask_service.h"

namespace ksrbac {

/// Lets the library do one of its operations with a callback: `operation(service, callback, cause)` returns
/// its status. Throws `ServiceError` unless it is done.
template <typename Callback, typename Operation>
void registerThrough(const std::string& question, const boost::shared_ptr<Callback>& callback,
                     const Operation& operation)
{
    askService(question, [&] {
        Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService service;
        std::exception_ptr cause;
        const int status = operation(service, callback, cause);
        if (status != Tessara::Keepsafe::Status::SUCCESS) {
            throw ServiceError(explainFailure(status, cause, callback->failure()));
        }
    });
}

} // namespace ksrbac

#endif
