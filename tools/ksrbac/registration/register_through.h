#ifndef KSRBAC_REGISTRATION_REGISTER_THROUGH_H
#define KSRBAC_REGISTRATION_REGISTER_THROUGH_H

#include <string>

#include <boost/make_shared.hpp>

#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include "registration/callbacks.h"
#include "service/AnswerRecorder.h"
#include "service/RequestLog.h"
#include "service/ask_service.h"
#include "service/explain_failure.h"

namespace ksrbac {

/// Lets the library do one of its operations with a callback: `operation(service, callback)` returns its
/// status. Throws `ServiceError` unless it is done.
template <typename Callback, typename Operation>
void registerThrough(const std::string& question, const boost::shared_ptr<Callback>& callback,
                     const Operation& operation)
{
    const auto recorder =
        boost::make_shared<AnswerRecorder>(boost::make_shared<KSClientCURLFactory>(CERT_TYPE_HOST));
    const RequestLog log;
    const int status = askService(question, [&] {
        Tessara::Keepsafe::Rbac::DefaultObjectRegistrationService service(MASTER_SERVER_PORT, recorder);
        return operation(service, callback);
    });
    if (status != Tessara::Keepsafe::Status::SUCCESS) {
        throw ServiceError(question + ": " +
                           explainStatus(status, log.lines(), callback->failure(), recorder->refusal()));
    }
}

} // namespace ksrbac

#endif
