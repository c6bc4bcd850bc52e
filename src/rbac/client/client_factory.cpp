#include <keepsafe/rbac/client/AccessControlClient.h>

#include <array>
#include <cstring>

#include <boost/lexical_cast.hpp>
#include <boost/make_shared.hpp>
#include <jansson.h>

#include <keepsafe/cache/AccessCache.h>
#include <keepsafe/cache/OperationCache.h>
#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/http/KSClientCURL.h>
#include <keepsafe/platform/log/logmsg.h>
#include <keepsafe/platform/status/EC_exception.h>
#include <keepsafe/platform/status/status_codes.h>
#include <keepsafe/platform/uri/percent_encode.h>
#include <keepsafe/rbac/client/DiskAccessControlClient.h>
#include <keepsafe/rbac/client/StubAccessControlClient.h>

namespace Tessara::Keepsafe::Rbac {

namespace {

constexpr char TAG[] = "AccessControlClient::create";
/// Misspelt from the beginning; log analysis looks for it.
constexpr char RESPONSE_TAG[] = "process_access_cace_response";

constexpr int ENFORCEMENT_FEATURE = 1;
constexpr long HTTP_OK = 200;
constexpr char RESOURCE[] = "/keepsafe/access-control/access-caches/";

/// Which operations stand at which bits, for every disk client of the process.
OperationCache operationCache;

void logEnforcement(const char* generation)
{
    constexpr int VERBOSITY = 2;
    constexpr int CATEGORY = 5;
    logmsgvf(VERBOSITY, CATEGORY, TAG, "%s enforcement.", generation);
}

[[noreturn]] void reject() { throw EC_exception(Status::MALFORMED_DOCUMENT); }

/// Asks the master server which cache covers the namespace. Returns 0 with the response, or a status.
int requestCache(const std::string& path, std::string& response)
{
    std::array<char, 257> server{};
    const int lookup = db_getservernameEx(server.data(), server.size());
    if (lookup != Status::SUCCESS) {
        return lookup;
    }
    constexpr int SESSION_TYPE = 1;
    constexpr bool NOT_ABORTED = false;
    KSClientCURL curl(server.data(), MASTER_SERVER_PORT, CERT_TYPE_HOST, SESSION_TYPE, nullptr, "", "", "",
                      true, false, false, false, NOT_ABORTED, 0);
    const int transfer = curl.Get(path);
    if (transfer != Status::SUCCESS) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Curl error requesting access cache: %d", transfer);
        return transfer;
    }
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "Request for %s; http status %ld", path.c_str(),
            curl.httpStatus());
    if (curl.httpStatus() != HTTP_OK) {
        logmsgf(Platform::LOG_LEVEL_ERROR, TAG, "Get access-cache return HTTP status %ld", curl.httpStatus());
        return Status::CONVERSION_FAILED;
    }
    response = curl.responseBody();
    return Status::SUCCESS;
}

/// The id of the access cache that the response names.
std::string readCacheId(const std::string& response)
{
    json_error_t error;
    const boost::shared_ptr<json_t> document(json_loads(response.c_str(), 0, &error), json_decref);
    if (!document) {
        logmsgf(Platform::LOG_LEVEL_ERROR, RESPONSE_TAG, "Error parsing response at position %d: %s",
                error.position, error.text);
        reject();
    }
    const char* type = nullptr;
    const char* id = nullptr;
    if (json_unpack_ex(document.get(), &error, 0, "{s: {s:s, s:s, *}, *}", "data", "type", &type, "id",
                       &id) != 0) {
        logmsgf(Platform::LOG_LEVEL_ERROR, RESPONSE_TAG, "Error parsing response: %s", error.text);
        reject();
    }
    constexpr char WANTED[] = "accessCache";
    if (std::strcmp(type, WANTED) != 0) {
        logmsgf(Platform::LOG_LEVEL_ERROR, RESPONSE_TAG, "Unexpected response type. Got %s; expected %s",
                type, WANTED);
        reject();
    }
    if (std::strpbrk(id, "/\\") != nullptr) {
        logmsgf(Platform::LOG_LEVEL_ERROR, RESPONSE_TAG, "Unexpected access-cache ID format: %s", id);
        reject();
    }
    return id;
}

boost::shared_ptr<AccessControlClient> openCache(const ObjectNamespace& objectNamespace,
                                                 const std::string& text, const std::string& cacheId)
{
    const std::string directory = AccessCache::directoryOf(cacheId);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "cache dir is %s", directory.c_str());
    const Manifest manifest(cacheId, directory);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "instantiating access cache");
    const auto cache = boost::make_shared<AccessCache>(manifest);
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "instantiating disk access cache for %s", text.c_str());
    return boost::make_shared<DiskAccessControlClient>(objectNamespace, cache, operationCache);
}

} // namespace

int AccessControlClient::create(const ObjectNamespace& objectNamespace,
                                boost::shared_ptr<AccessControlClient>& client)
{
    if (IsFeatureEnabled_c(ENFORCEMENT_FEATURE) == 0) {
        logEnforcement("Gen1");
        client = boost::make_shared<StubAccessControlClient>();
        return Status::SUCCESS;
    }
    logEnforcement("Gen2");
    std::string text;
    if (!boost::conversion::try_lexical_convert(objectNamespace, text)) {
        return Status::CONVERSION_FAILED;
    }
    logmsgf(Platform::LOG_LEVEL_INFORMATION, TAG, "Requesting cache for %s", text.c_str());
    std::string encoded;
    const int encoding = percentEncodeUriPart(text, encoded);
    if (encoding != Status::SUCCESS) {
        return encoding;
    }
    std::string response;
    const int request = requestCache(RESOURCE + encoded, response);
    if (request != Status::SUCCESS) {
        return request;
    }
    try {
        client = openCache(objectNamespace, text, readCacheId(response));
        return Status::SUCCESS;
    } catch (const EC_exception& failure) {
        return failure.status();
    } catch (...) {
        return Status::CONVERSION_FAILED;
    }
}

} // namespace Tessara::Keepsafe::Rbac
