#include "server/response_text.h"

#include <ostream> // which the next one leaves to its user

#include <boost/beast/http/status.hpp>

namespace keepsafe_sandbox {

std::string responseText(const ServiceResponse& response, bool hasBody, bool endsConnection)
{
    namespace http = boost::beast::http;
    const http::status status = http::int_to_status(static_cast<unsigned>(response.status));
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + ' ' +
                       std::string(http::obsolete_reason(status)) + "\r\n";
    if (!response.allowedMethods.empty()) {
        text += "Allow: " + response.allowedMethods + "\r\n";
    }
    if (response.isCacheOutdated) {
        text += "Keepsafe-Access-Cache: outdated\r\n";
    }
    if (endsConnection) {
        text += "Connection: close\r\n";
    }
    if (!response.body.empty()) {
        text += "Content-Type: " + response.contentType + "\r\n";
    }
    if (status != http::status::no_content) {
        text += "Content-Length: " + std::to_string(response.body.size()) + "\r\n";
    }
    return text + "\r\n" + (hasBody ? response.body : "");
}

} // namespace keepsafe_sandbox
