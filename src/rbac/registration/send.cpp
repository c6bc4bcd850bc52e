/// The exchanges of the registration service.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <boost/scoped_ptr.hpp>

#include <keepsafe/platform/http/extract_error.h>

#include "exchange.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char SEND_TAG[] = "DefaultObjectRegistrationService::sendHttpRequest";

/// What the log says of a type of request, and the HTTP status of its success.
struct Kind {
    const char* name;
    long success;
};

Kind kindOf(HttpRequestType type)
{
    constexpr long CREATED = 201;
    constexpr long NO_CONTENT = 204;
    switch (type) {
    case HTTP_REQUEST_POST:
        return {"POST object register", CREATED};
    case HTTP_REQUEST_PATCH:
        return {"PATCH object unregister", NO_CONTENT};
    case HTTP_REQUEST_DELETE:
        return {"DELETE object", NO_CONTENT};
    }
    constexpr long NEVER = -1;
    return {"", NEVER};
}

int send(KSClientCURL_Base& client, HttpRequestType type, const std::string& url, const std::string& body)
{
    switch (type) {
    case HTTP_REQUEST_POST:
        return client.Post(url, body);
    case HTTP_REQUEST_PATCH:
        return client.Patch(url, body);
    case HTTP_REQUEST_DELETE:
        return client.Delete(url);
    }
    return Status::SUCCESS;
}

struct RequestLog {
    void transferFailed(int status) const
    {
        logmsgf(Platform::LOG_LEVEL_ERROR, SEND_TAG,
                "Failed to send the %s request(%s). CURL request failed. error  = %d", kind, url.c_str(),
                status);
    }
    void answered(long /*httpStatus*/) const {}
    [[nodiscard]] int refused(long httpStatus, const std::string& body) const
    {
        int errorCode = Status::UNEXPECTED_RESPONSE;
        std::string errorMessage;
        const int parsing = extractErrorFromJSON(body, errorCode, errorMessage);
        if (parsing == Status::SUCCESS) {
            logmsgf(Platform::LOG_LEVEL_ERROR, SEND_TAG,
                    "Failed to register object. HTTP response code = %ld. error = %d", httpStatus, errorCode);
        } else {
            logmsgf(Platform::LOG_LEVEL_ERROR, SEND_TAG,
                    "Failed to parse error from JSON response. HTTP response code = %ld. parse error = %d",
                    httpStatus, parsing);
        }
        return errorCode;
    }

    const char* kind;
    const std::string& url;
};

} // namespace

void DefaultObjectRegistrationService::sendHttpRequest(HttpRequestType type, const std::string& url,
                                                       const std::string& body, std::string& response) const
{
    constexpr int PAYLOAD_VERBOSITY = 2;
    constexpr int PAYLOAD_CATEGORY = 5;
    const boost::scoped_ptr<KSClientCURL_Base> client(
        newClient(factory_.get(), masterServer_, port_, SEND_TAG));
    client->setApiVersion(MAX_VERSION);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, SEND_TAG, "Send request type %d to URL %s",
            static_cast<int>(type), url.c_str());
    logmsgvf(PAYLOAD_VERBOSITY, PAYLOAD_CATEGORY, SEND_TAG, "Request payload: %s", body.c_str());
    const Kind kind = kindOf(type);
    response = exchange(
        *client, kind.success, [&](KSClientCURL_Base& curl) { return send(curl, type, url, body); },
        RequestLog{kind.name, url});
}

void DefaultObjectRegistrationService::sendHttpRequest(HttpRequestType type, const std::string& url,
                                                       const std::string& body) const
{
    std::string discarded;
    sendHttpRequest(type, url, body, discarded);
}

} // namespace Tessara::Keepsafe::Rbac
