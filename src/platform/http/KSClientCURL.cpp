#include <keepsafe/platform/http/KSClientCURL.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <utility>

#include <curl/curl.h>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/log/logmsg.h>

#include "HandlePool.h"
#include "Transfer.h"
#include "log_tag.h"
#include "secure_execution.h"
#include "server_address.h"

namespace Platform = Tessara::Keepsafe::Platform;
namespace http = Platform::http;

namespace {

/// Whether libcurl, when it is initialised, would open a file of the caller's choice with rights that the
/// caller does not have. It does not ask whether the environment is to be trusted.
bool opensKeyLog() noexcept
{
    return Tessara::Keepsafe::Process::isSecureExecution() &&
           std::getenv("SSLKEYLOGFILE") != nullptr; // NOLINT(concurrency-mt-unsafe)
}

/// Null, with `status` and `reason` set, when there is none.
std::unique_ptr<http::Handle> handleFor(http::ConnectionKey key, int& status, std::string& reason)
{
    std::unique_ptr<http::Handle> handle = http::HandlePool::lend(key);
    if (handle) {
        return handle;
    }
    status = http::checkReadable(key.files, reason);
    if (status != CURLE_OK) {
        return nullptr;
    }
    if (opensKeyLog()) {
        reason = "no requests with SSLKEYLOGFILE in a process with more rights than its caller (AT_SECURE)";
        logmsgf(Platform::LOG_LEVEL_ERROR, http::TAG, "%s", reason.c_str());
    } else {
        handle = http::Handle::make(std::move(key));
    }
    if (!handle) {
        status = CURLE_FAILED_INIT;
    }
    return handle;
}

/// Null, with `reason` set, when the configuration cannot be used, which is then logged.
std::shared_ptr<const Platform::Config> readConfig(std::string& reason)
{
    try {
        return Platform::currentConfig(http::TAG);
    } catch (const Platform::ConfigError& error) {
        reason = error.what();
        return nullptr;
    }
}

/// The failure of a transfer as it is logged.
std::string describe(int status, const char* method, const http::ConnectionKey& key,
                     const std::string& reason)
{
    if (status == CURLE_SSL_CERTPROBLEM) {
        return "cannot use the certificate \"" + key.files.certificate.path + "\" with the private key \"" +
               key.files.key + "\": " + reason;
    }
    if (status == CURLE_SSL_CACERT_BADFILE) {
        return "cannot use the CA certificates \"" + key.files.ca.path + "\": " + reason;
    }
    return std::string(method) + ' ' + key.serverUrl + " failed with status " + std::to_string(status) +
           ": " + reason;
}

void logFailure(int status, const std::string& text)
{
    // The operator must repair unusable files, as well as missing ones.
    const bool isForTheOperator = status == CURLE_SSL_CERTPROBLEM || status == CURLE_SSL_CACERT_BADFILE;
    logmsgf(isForTheOperator ? Platform::LOG_LEVEL_ERROR : Platform::LOG_LEVEL_NOTABLE, http::TAG, "%s",
            text.c_str());
}

int send(http::ConnectionKey key, bool authenticateHost, const http::Request& request,
         http::Response& response, std::string& reason)
{
    const std::shared_ptr<const Platform::Config> config = readConfig(reason);
    if (!config) {
        return CURLE_FAILED_INIT;
    }
    int status = http::findTlsFiles(*config, authenticateHost, key.files, reason);
    if (status != CURLE_OK) {
        return status;
    }
    std::unique_ptr<http::Handle> handle = handleFor(std::move(key), status, reason);
    if (!handle) {
        return status;
    }
    status = http::transfer(*handle, *config, request, response, reason);
    if (status != CURLE_OK) {
        // The handle is not reused: its state is unknown.
        reason = describe(status, request.method, handle->key(), reason);
        logFailure(status, reason);
        return status;
    }
    http::HandlePool::giveBack(std::move(handle));
    return status;
}

constexpr bool NEVER_ABORTED = false;

} // namespace

KSClientCURL_Base::~KSClientCURL_Base() = default;
std::string KSClientCURL_Base::failureReason() const { return {}; }
KSClientCURL_BaseFactory::~KSClientCURL_BaseFactory() = default;

KSClientCURL::KSClientCURL(const std::string& host, int port, cert_type certificate, int /*sessionType*/,
                           KSTokenManager* /*tokenManager*/, const std::string& /*userName*/,
                           const std::string& /*password*/, const std::string& /*domain*/, bool verifyServer,
                           bool /*followRedirects*/, bool /*environmentProxy*/, bool /*verbose*/,
                           const bool& aborted, int /*proxyHint*/)
    : host_(host), port_(port), certificate_(certificate), verifyServer_(verifyServer), aborted_(&aborted)
{
}

KSClientCURL::~KSClientCURL() = default;

int KSClientCURL::Put(const std::string& path, const std::string& body)
{
    return request("PUT", path, &body);
}

int KSClientCURL::Post(const std::string& path, const std::string& body)
{
    return request("POST", path, &body);
}

int KSClientCURL::Patch(const std::string& path, const std::string& body)
{
    return request("PATCH", path, &body);
}

int KSClientCURL::Get(const std::string& path) { return request("GET", path, nullptr); }

int KSClientCURL::Delete(const std::string& path) { return request("DELETE", path, nullptr); }

void KSClientCURL::setApiVersion(int version) { apiVersion_ = version; }

int KSClientCURL::request(const char* method, const std::string& path, const std::string* body)
{
    httpStatus_ = 0;
    responseBody_.clear();
    failureReason_.clear();
    if (!verifyServer_) {
        return CURLE_PEER_FAILED_VERIFICATION;
    }
    try {
        http::ConnectionKey key{http::serverUrl(host_, port_), {}};
        http::Request request{method, http::requestTarget(path), body, apiVersion_, aborted_};
        if (key.serverUrl.empty() || request.target.empty()) {
            return CURLE_URL_MALFORMAT;
        }
        http::Response response;
        const int status =
            send(std::move(key), certificate_ != CERT_TYPE_NONE, request, response, failureReason_);
        if (status == CURLE_OK) {
            httpStatus_ = response.status;
            responseBody_ = std::move(response.body);
        }
        return status;
    } catch (const std::bad_alloc&) {
        return CURLE_OUT_OF_MEMORY;
    } catch (const std::exception&) {
        return CURLE_FAILED_INIT;
    }
}

KSClientCURLFactory::KSClientCURLFactory(cert_type certificate) : certificate_(certificate) {}

KSClientCURLFactory::~KSClientCURLFactory() = default;

KSClientCURL_Base* KSClientCURLFactory::create(const std::string& host, int port, int /*clientKind*/)
{
    return new KSClientCURL(host, port, certificate_, 1, nullptr, "", "", "", true, false, false, false,
                            NEVER_ABORTED, 0);
}
