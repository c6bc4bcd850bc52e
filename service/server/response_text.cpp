#include "server/response_text.h"

#include <array>
#include <cstdio>
#include <ostream> // which the next one leaves to its user

#include <boost/beast/http/status.hpp>

namespace keepsafe_service {

std::string httpDate(std::time_t time)
{
    // Not by strftime, whose names are those of the locale.
    constexpr const char* DAYS[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    constexpr const char* MONTHS[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 40> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%s, %02d %s %04d %02d:%02d:%02d GMT",
                                    DAYS[parts.tm_wday], parts.tm_mday, MONTHS[parts.tm_mon],
                                    parts.tm_year + 1900, parts.tm_hour, parts.tm_min, parts.tm_sec));
    return text.data();
}

std::string responseText(const ServiceResponse& response, bool hasBody, bool endsConnection)
{
    namespace http = boost::beast::http;
    const http::status status = http::int_to_status(static_cast<unsigned>(response.status));
    std::string text = "HTTP/1.1 " + std::to_string(response.status) + ' ' +
                       std::string(http::obsolete_reason(status)) + "\r\n";
    text += "Date: " + httpDate(std::time(nullptr)) + "\r\n";
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

} // namespace keepsafe_service
