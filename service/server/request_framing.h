#ifndef KEEPSAFE_SANDBOX_SERVICE_REQUEST_FRAMING_H
#define KEEPSAFE_SANDBOX_SERVICE_REQUEST_FRAMING_H

#include <cstddef>
#include <optional>
#include <string>

#include <httplib.h>

namespace keepsafe_sandbox {

/// What is wrong with how a request is framed.
struct FramingFault {
    int httpStatus;
    std::string message;
};

/// Judges the headers that say whether a body follows and how long it is, before anything of it is read. Two
/// readings of one request must not be possible: where a request ends decides where the next one begins.
[[nodiscard]] std::optional<FramingFault> findFramingFault(const httplib::Request& request,
                                                           std::size_t mostBodyBytes);

/// Whether a body follows the headers of a request without such a fault.
[[nodiscard]] bool hasBody(const httplib::Request& request);

} // namespace keepsafe_sandbox

#endif
