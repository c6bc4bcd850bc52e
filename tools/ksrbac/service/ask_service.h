#ifndef KSRBAC_SERVICE_ASK_SERVICE_H
#define KSRBAC_SERVICE_ASK_SERVICE_H

#include <exception>
#include <stdexcept>
#include <string>

namespace ksrbac {

/// The service could not be asked, or refused. `what()` is the whole message.
class ServiceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A status of the library in words: its number, what it means, and in parentheses what is known of this
/// failure: `reason`, which may be empty, and what the exception behind the status, or none, says.
std::string explainFailure(int status, const std::exception_ptr& cause, const std::string& reason = "");

/// Turns the exception that is being handled into a `ServiceError` that begins with the question. Lack of
/// memory passes through.
[[noreturn]] void throwExplained(const std::string& question);

/// Calls `request`, which asks the service through the library. `question` names it in the message when it
/// fails: the command with what it is about.
template <typename Request>
auto askService(const std::string& question, const Request& request)
{
    try {
        return request();
    } catch (...) {
        throwExplained(question);
    }
}

} // namespace ksrbac

#endif
