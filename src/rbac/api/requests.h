#ifndef KEEPSAFE_RBAC_API_REQUESTS_H
#define KEEPSAFE_RBAC_API_REQUESTS_H

#include <stdexcept>
#include <string>

#include <boost/scoped_ptr.hpp>

#include <keepsafe/rbac/api/BaseAPI.h>
#include <keepsafe/rbac/api/Rbac2Curl.h>

#include "exchange.h"

namespace Tessara::Keepsafe::Rbac {

/// Logs the server's message about its refusal. Returns its status: the error code, or 114 when its answer is
/// not an error document.
int logRefusal(long httpStatus, const std::string& body, const char* tag);

/// Throws `std::invalid_argument` for a text with a zero byte, which would be sent, or logged, only as far as
/// there.
inline void requireNoZeroByte(const std::string& text, const std::string& what)
{
    if (text.find('\0') != std::string::npos) {
        throw std::invalid_argument(what + " contains a zero byte");
    }
}

/// What a request logs under the name of its operation.
struct RequestLog {
    void transferFailed(int /*status*/) const {}
    void answered(long httpStatus) const
    {
        logmsgf(Platform::LOG_LEVEL_INFORMATION, tag, "Request for %s; curl status %d; http status %ld",
                path.c_str(), Status::SUCCESS, httpStatus);
    }
    [[nodiscard]] int refused(long httpStatus, const std::string& body) const
    {
        return logRefusal(httpStatus, body, tag);
    }

    const char* tag;
    const std::string& path;
};

/// One request of an operation: see `exchange`.
template <typename Send>
std::string request(const BaseAPI& api, const char* tag, const std::string& path, long expectedStatus,
                    const Send& send)
{
    const boost::scoped_ptr<KSClientCURL_Base> curl(api.new_curl());
    return exchange(*curl, expectedStatus, send, RequestLog{tag, path});
}

/// The same for an operation that reads the response.
template <typename Send>
std::string read(const BaseAPI& api, const char* tag, const std::string& path, long expectedStatus,
                 const Send& send)
{
    std::string body = request(api, tag, path, expectedStatus, send);
    logmsgf(Platform::LOG_LEVEL_DEBUG, tag, "Received JSON: %s", body.c_str());
    return body;
}

/// The path with the service's filter expression as its query; without a query if that is empty.
inline std::string withFilter(const std::string& path, const std::string& filter)
{
    return filter.empty() ? path : path + "?filter=" + encode_uri_part(filter);
}

inline std::string get(const BaseAPI& api, const char* tag, const std::string& path)
{
    constexpr long OK = 200;
    return read(api, tag, path, OK, [&path](KSClientCURL_Base& curl) { return curl.Get(path); });
}

inline std::string post(const BaseAPI& api, const char* tag, const std::string& path, const std::string& body)
{
    constexpr long CREATED = 201;
    return read(api, tag, path, CREATED, [&](KSClientCURL_Base& curl) { return curl.Post(path, body); });
}

/// For requests without a response to read: the server answers 204.
template <typename Send>
void change(const BaseAPI& api, const char* tag, const std::string& path, const Send& send)
{
    constexpr long NO_CONTENT = 204;
    (void)request(api, tag, path, NO_CONTENT, send);
}

} // namespace Tessara::Keepsafe::Rbac

#endif
