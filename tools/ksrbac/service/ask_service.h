#ifndef KSRBAC_SERVICE_ASK_SERVICE_H
#define KSRBAC_SERVICE_ASK_SERVICE_H

#include <stdexcept>
#include <string>

#include "service/RequestLog.h"

namespace ksrbac {

/// The service could not be asked, or refused. `what()` is the whole message.
class ServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Turns the exception that is being handled into a `ServiceError` that begins with the question. Lack of
/// memory passes through.
[[noreturn]] void throwExplained(const std::string& question, const RequestLog& log);

/// Calls `request`, which asks the service through the library. `question` names it in the message when it
/// fails: the command with what it is about.
template <typename Request>
auto askService(const std::string& question, const Request& request)
{
    const RequestLog log;
    try {
        return request();
    } catch (...) {
        throwExplained(question, log);
    }
}

} // namespace ksrbac

#endif
