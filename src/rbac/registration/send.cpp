/// The exchanges of the registration service.

#include <keepsafe/rbac/registration/DefaultObjectRegistrationService.h>

#include <boost/scoped_ptr.hpp>

#include <keepsafe/platform/http/extract_error.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char TAG[] = "DefaultObjectRegistrationService::sendHttpRequest";

constexpr long CREATED = 201;
constexpr long NO_CONTENT = 204;

/// Sends the request; throws when the transfer fails. Returns whether the server gave the expected answer.
bool send(KSClientCURL_Base& client, HttpRequestType type, const std::string& url, const std::string& body)
{
    int transfer = Status::SUCCESS;
    switch (type) {
    case HTTP_REQUEST_POST:
        transfer = client.Post(url, body);
        if (transfer == Status::SUCCESS) {
            return client.httpStatus() == CREATED;
        }
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG,
                "Failed to send the POST object register request(%s). CURL request failed. error  = %d",
                url.c_str(), transfer);
        break;
    case HTTP_REQUEST_PATCH:
        transfer = client.Patch(url, body);
        if (transfer == Status::SUCCESS) {
            return client.httpStatus() == NO_CONTENT;
        }
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG,
                "Failed to send the PATCH object unregister request(%s). CURL request failed. error  = %d",
                url.c_str(), transfer);
        break;
    case HTTP_REQUEST_DELETE:
        transfer = client.Delete(url);
        if (transfer == Status::SUCCESS) {
            return client.httpStatus() == NO_CONTENT;
        }
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG,
                "Failed to send the DELETE object request(%s). CURL request failed. error  = %d", url.c_str(),
                transfer);
        break;
    default:
        return false;
    }
    throw EC_exception(transfer);
}

/// Throws what the server says about its refusal.
[[noreturn]] void rejectAnswer(const KSClientCURL_Base& client)
{
    int errorCode = Status::UNEXPECTED_RESPONSE;
    std::string errorMessage;
    const int parsing = extractErrorFromJSON(client.responseBody(), errorCode, errorMessage);
    if (parsing != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG,
                "Failed to parse error from JSON response. HTTP response code = %ld. parse error = %d",
                client.httpStatus(), parsing);
        throw EC_exception(Status::UNEXPECTED_RESPONSE);
    }
    logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Failed to register object. HTTP response code = %ld. error = %d",
            client.httpStatus(), errorCode);
    throw EC_exception(errorCode);
}

} // namespace

void DefaultObjectRegistrationService::sendHttpRequest(HttpRequestType type, const std::string& url,
                                                       const std::string& body, std::string& response) const
{
    constexpr int PAYLOAD_VERBOSITY = 2;
    constexpr int PAYLOAD_CATEGORY = 5;
    const boost::scoped_ptr<KSClientCURL_Base> client(
        factory_ ? factory_->create(masterServer_, port_, CLIENT_KIND_REST) : nullptr);
    if (!client) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "There is no HTTP client for %s", masterServer_.c_str());
        throw EC_exception(Status::CONVERSION_FAILED);
    }
    client->setApiVersion(MAX_VERSION);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "Send request type %d to URL %s", static_cast<int>(type),
            url.c_str());
    logmsgvf(PAYLOAD_VERBOSITY, PAYLOAD_CATEGORY, TAG, "Request payload: %s", body.c_str());
    if (!send(*client, type, url, body)) {
        rejectAnswer(*client);
    }
    response = client->responseBody();
}

void DefaultObjectRegistrationService::sendHttpRequest(HttpRequestType type, const std::string& url,
                                                       const std::string& body) const
{
    std::string discarded;
    sendHttpRequest(type, url, body, discarded);
}

} // namespace Tessara::Keepsafe::Rbac
