#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_TRANSFER_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_TRANSFER_H

#include <string>

#include <keepsafe/platform/config/config.h>

#include "Handle.h"
#include "Response.h"

namespace Tessara::Keepsafe::Platform::http {

struct Request {
    const char* method;
    std::string target;
    const std::string* body; ///< null: none
    int apiVersion;          ///< 0: none requested
    const bool* aborted;     ///< ends the request when it becomes true
};

/// Sends the request on the handle and receives the response. Returns libcurl's status; `reason` describes it
/// if it is not 0.
int transfer(Handle& handle, const Config& config, const Request& request, Response& response,
             std::string& reason);

} // namespace Tessara::Keepsafe::Platform::http

#endif
