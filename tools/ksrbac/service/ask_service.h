#ifndef KSRBAC_SERVICE_ASK_SERVICE_H
#define KSRBAC_SERVICE_ASK_SERVICE_H

#include <exception>
#include <string>

#include "configuration.h"
#include "exit_status.h"

namespace ksrbac {

/// The service could not be asked, or refused.
class ServiceError : public CommandFailure {
public:
    using CommandFailure::CommandFailure;
    explicit ServiceError(const std::string& message) : CommandFailure({FailureKind::Failure, message}) {}
};

/// A status of the library in words: its number, what it means, and in parentheses what is known of this
/// failure: `reason`, which may be empty, and what the exception behind the status, or none, says. The kind
/// is that of the exception.
Failure explainFailure(int status, const std::exception_ptr& cause, const std::string& reason = "");

/// Turns the exception that is being handled into a `ServiceError` of the question. Lack of memory and
/// `InputError` pass through.
[[noreturn]] void throwExplained(const std::string& question);

/// Calls `request`, which asks the service through the library. `question` names it in the message when it
/// fails: the command with what it is about.
template <typename Request>
auto askService(const std::string& question, const Request& request)
{
    try {
        requireConfiguration();
        return request();
    } catch (...) {
        throwExplained(question);
    }
}

} // namespace ksrbac

#endif
