#ifndef KEEPSAFE_SERVICE_SERVER_RESPONSE_TEXT_H
#define KEEPSAFE_SERVICE_SERVER_RESPONSE_TEXT_H

#include <ctime>
#include <string>

#include "resources/Exchange.h"

namespace keepsafe_service {

/// The time in the form of the header Date (RFC 9110 section 5.6.7).
[[nodiscard]] std::string httpDate(std::time_t time);

/// A response as HTTP/1.1 has it. Without `hasBody`, as for HEAD, it says only how long the body would be.
[[nodiscard]] std::string responseText(const ServiceResponse& response, bool hasBody, bool endsConnection);

} // namespace keepsafe_service

#endif
