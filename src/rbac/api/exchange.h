#ifndef KEEPSAFE_RBAC_API_EXCHANGE_H
#define KEEPSAFE_RBAC_API_EXCHANGE_H

#include <string>

#include <boost/scoped_ptr.hpp>

#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/api/Rbac2Curl.h>

namespace Tessara::Keepsafe::Rbac {

/// One request of an operation: `send` sends it with the HTTP client that it is given and returns the
/// transfer status. Returns the response's body when the server answered with the expected HTTP status, and
/// throws otherwise.
template <typename Send>
std::string exchange(const BaseAPI& api, const char* tag, const std::string& path, int expectedStatus,
                     Send send)
{
    const boost::scoped_ptr<KSClientCURL_Base> curl(api.new_curl());
    if (!curl) {
        throw EC_exception(Status::CONVERSION_FAILED);
    }
    const int transfer = send(*curl);
    if (transfer != Status::SUCCESS) {
        throw EC_exception(transfer);
    }
    logmsgf(Platform::LOG_LEVEL_INFORMATION, tag, "Request for %s; curl status %d; http status %ld",
            path.c_str(), transfer, curl->httpStatus());
    throw_on_http_error(expectedStatus, static_cast<int>(curl->httpStatus()), curl->responseBody(), tag);
    return curl->responseBody();
}

/// The same for an operation that reads the response.
template <typename Send>
std::string read(const BaseAPI& api, const char* tag, const std::string& path, int expectedStatus, Send send)
{
    std::string body = exchange(api, tag, path, expectedStatus, send);
    logmsgf(Platform::LOG_LEVEL_DEBUG, tag, "Received JSON: %s", body.c_str());
    return body;
}

/// The path with the service's filter expression as its query; without one when that is empty.
inline std::string withFilter(const std::string& path, const std::string& filter)
{
    return filter.empty() ? path : path + "?filter=" + encode_uri_part(filter);
}

inline std::string get(const BaseAPI& api, const char* tag, const std::string& path)
{
    constexpr int OK = 200;
    return read(api, tag, path, OK, [&path](KSClientCURL_Base& curl) { return curl.Get(path); });
}

inline std::string post(const BaseAPI& api, const char* tag, const std::string& path, const std::string& body)
{
    constexpr int CREATED = 201;
    return read(api, tag, path, CREATED, [&](KSClientCURL_Base& curl) { return curl.Post(path, body); });
}

/// For requests without a response to read: the server answers 204.
template <typename Send>
void change(const BaseAPI& api, const char* tag, const std::string& path, Send send)
{
    constexpr int NO_CONTENT = 204;
    (void)exchange(api, tag, path, NO_CONTENT, send);
}

} // namespace Tessara::Keepsafe::Rbac

#endif
