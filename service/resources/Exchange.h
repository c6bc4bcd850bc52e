#ifndef KEEPSAFE_SERVICE_RESOURCES_EXCHANGE_H
#define KEEPSAFE_SERVICE_RESOURCES_EXCHANGE_H

#include <string>

/// \file
/// A request and its response, whatever carries them.

namespace keepsafe_service {

struct ServiceRequest {
    std::string method;
    std::string target; ///< path and query as they came, still percent-encoded
    std::string contentType;
    std::string body;
    std::string client = {}; ///< the subject of its certificate: see client_name.h
    std::string accept = {}; ///< the media types that the client takes
};

struct ServiceResponse {
    int status = 500;
    std::string body;             ///< empty for 204
    std::string allowedMethods;   ///< with 405: what the resource knows, as the header Allow has it
    bool isCacheOutdated = false; ///< the access cache is not yet what the store says
    std::string contentType = "application/json"; ///< of the body
};

} // namespace keepsafe_service

#endif
