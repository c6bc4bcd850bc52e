#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_RESPONSE_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_RESPONSE_H

#include <string>

namespace Tessara::Keepsafe::Platform::http {

struct Response {
    long status = 0;
    std::string body;
};

} // namespace Tessara::Keepsafe::Platform::http

#endif
