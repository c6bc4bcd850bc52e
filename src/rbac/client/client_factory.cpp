#include "client_factory.h"

#include <cstring>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>
#include <boost/scoped_ptr.hpp>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

#include "exchange.h"
#include "fail.h"
#include "load.h"

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char CREATE_TAG[] = "AccessControlClient::create";
/// Misspelt from the beginning; log analysis looks for it.
constexpr char RESPONSE_TAG[] = "process_access_cace_response";

constexpr int ENFORCEMENT_FEATURE = 1;
constexpr char RESOURCE[] = "/keepsafe/access-control/access-caches/";

/// The operations' bits, for every disk client of the process.
OperationCache operationCache;

void logEnforcement(const char* generation)
{
    constexpr int VERBOSITY = 2;
    constexpr int CATEGORY = 5;
    logmsgvf(VERBOSITY, CATEGORY, CREATE_TAG, "%s enforcement.", generation);
}

struct RequestLog {
    void transferFailed(int status) const
    {
        logmsgf(Platform::LOG_LEVEL_ERROR, CREATE_TAG, "Curl error requesting access cache: %d", status);
    }
    void answered(long httpStatus) const
    {
        logmsgf(Platform::LOG_LEVEL_INFORMATION, CREATE_TAG, "Request for %s; http status %ld", path.c_str(),
                httpStatus);
    }
    [[nodiscard]] int refused(long httpStatus, const std::string& /*body*/) const
    {
        logmsgf(Platform::LOG_LEVEL_ERROR, CREATE_TAG, "Get access-cache return HTTP status %ld", httpStatus);
        return Status::CONVERSION_FAILED;
    }

    const std::string& path;
};

/// The namespace's text form.
std::string textOf(const ObjectNamespace& objectNamespace)
{
    std::string text;
    if (!boost::conversion::try_lexical_convert(objectNamespace, text)) {
        throw ExplainedFailure(Status::CONVERSION_FAILED, "the namespace has no text form");
    }
    return text;
}

/// Asks the master server which cache covers the namespace.
std::string requestCache(const std::string& objectNamespace, KSClientCURL_BaseFactory& httpClients)
{
    logmsgf(Platform::LOG_LEVEL_INFORMATION, CREATE_TAG, "Requesting cache for %s", objectNamespace.c_str());
    std::string path;
    const int encoding = percentEncodeUriPart(objectNamespace, path);
    if (encoding != Status::SUCCESS) {
        throw ExplainedFailure(encoding, "the namespace cannot be encoded");
    }
    path.insert(0, RESOURCE);
    const boost::scoped_ptr<KSClientCURL_Base> curl(
        newClient(&httpClients, masterServer(), MASTER_SERVER_PORT, CREATE_TAG));
    constexpr long OK = 200;
    return exchange(
        *curl, OK, [&path](KSClientCURL_Base& client) { return client.Get(path); }, RequestLog{path});
}

[[noreturn]] void reject(const std::string& text)
{
    diagnostics::fail(Status::MALFORMED_DOCUMENT, RESPONSE_TAG, text);
}

/// The id of the access cache that the response names.
std::string readCacheId(const std::string& response)
{
    json_error_t error;
    const JsonHandle document = loadJson(response, error);
    if (!document) {
        reject("Error parsing response at position " + std::to_string(error.position) + ": " + error.text);
    }
    const char* type = nullptr;
    const char* id = nullptr;
    if (json_unpack_ex(document.get(), &error, 0, "{s: {s:s, s:s, *}, *}", "data", "type", &type, "id",
                       &id) != 0) {
        reject(std::string("Error parsing response: ") + error.text);
    }
    constexpr char WANTED[] = "accessCache";
    if (std::strcmp(type, WANTED) != 0) {
        reject(std::string("Unexpected response type. Got ") + type + "; expected " + WANTED);
    }
    const std::string_view name = id;
    if (name.empty() || name == "." || name == ".." || name.find_first_of("/\\") != std::string_view::npos) {
        reject(std::string("Unexpected access-cache ID format: ") + id);
    }
    return id;
}

boost::shared_ptr<AccessControlClient> openCache(const ObjectNamespace& objectNamespace,
                                                 const std::string& text, const std::string& cacheId)
{
    const std::string directory = AccessCache::directoryOf(cacheId);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, CREATE_TAG, "cache dir is %s", directory.c_str());
    const Manifest manifest(cacheId, directory);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, CREATE_TAG, "instantiating access cache");
    const auto cache = boost::make_shared<AccessCache>(manifest);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, CREATE_TAG, "instantiating disk access cache for %s",
            text.c_str());
    return boost::make_shared<DiskAccessControlClient>(objectNamespace, cache, operationCache);
}

} // namespace

int createClient(const ObjectNamespace& objectNamespace, KSClientCURL_BaseFactory& httpClients,
                 boost::shared_ptr<AccessControlClient>& client, std::exception_ptr& cause)
{
    cause = nullptr;
    if (IsFeatureEnabled_c(ENFORCEMENT_FEATURE) == 0) {
        logEnforcement("Gen1");
        client = boost::make_shared<StubAccessControlClient>();
        return Status::SUCCESS;
    }
    logEnforcement("Gen2");
    std::string text;
    std::string response;
    try {
        text = textOf(objectNamespace);
        response = requestCache(text, httpClients);
    } catch (const ExplainedFailure& failure) {
        // Nothing else is caught here: exceptions of an HTTP client pass to the caller.
        cause = std::current_exception();
        return failure.status();
    }
    try {
        client = openCache(objectNamespace, text, readCacheId(response));
        return Status::SUCCESS;
    } catch (const EC_exception& failure) {
        cause = std::current_exception();
        return failure.status();
    } catch (...) {
        cause = std::current_exception();
        return Status::CONVERSION_FAILED;
    }
}

int AccessControlClient::create(const ObjectNamespace& objectNamespace,
                                boost::shared_ptr<AccessControlClient>& client)
{
    std::exception_ptr cause;
    return create(objectNamespace, client, cause);
}

int AccessControlClient::create(const ObjectNamespace& objectNamespace,
                                boost::shared_ptr<AccessControlClient>& client, std::exception_ptr& cause)
{
    KSClientCURLFactory httpClients(CERT_TYPE_HOST);
    return createClient(objectNamespace, httpClients, client, cause);
}

} // namespace Tessara::Keepsafe::Rbac
