#ifndef KEEPSAFE_SERVICE_SERVER_REQUESTANSWERER_H
#define KEEPSAFE_SERVICE_SERVER_REQUESTANSWERER_H

#include <cstddef>
#include <functional>
#include <string>

#include "resources/Exchange.h"

namespace keepsafe_service {

/// What a server asks of what answers its requests.
struct RequestAnswerer {
    /// By several threads at a time.
    std::function<ServiceResponse(const ServiceRequest&)> answer;
    /// The longest body that a request to this target may have. By one thread.
    std::function<std::size_t(const std::string& target)> mostBodyBytes;
};

} // namespace keepsafe_service

#endif
