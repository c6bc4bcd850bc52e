#include "Transfer.h"

#include <array>
#include <cstddef>
#include <memory>
#include <new>

#include <openssl/rand.h>

#include "Receiver.h"
#include "server_address.h"
#include "verification.h"

namespace Tessara::Keepsafe::Platform::http {
namespace {

/// Fewer bytes per second than this count as a stall.
constexpr long STALL_BYTES_PER_SECOND = 16;

struct FreeList {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};
using Headers = std::unique_ptr<curl_slist, FreeList>;

void append(Headers& headers, const std::string& header)
{
    curl_slist* const longer = curl_slist_append(headers.get(), header.c_str());
    if (longer == nullptr) {
        throw std::bad_alloc();
    }
    static_cast<void>(headers.release()); // NOLINT(bugprone-unused-return-value): a part of `longer`
    headers.reset(longer);
}

Headers headersOf(const Request& request)
{
    const std::string type = request.apiVersion == 0 ? "application/json"
                                                     : "application/vnd.keepsafe+json;version=" +
                                                           std::to_string(request.apiVersion);
    Headers headers;
    append(headers, "Accept: " + type);
    if (request.body != nullptr) {
        append(headers, "Content-Type: " + type);
        // Without this, libcurl waits up to a second before it sends a long body.
        append(headers, "Expect:");
    }
    return headers;
}

int isAborted(const bool* aborted) noexcept { return __atomic_load_n(aborted, __ATOMIC_RELAXED) ? 1 : 0; }

int progress(void* aborted, curl_off_t /*toGet*/, curl_off_t /*got*/, curl_off_t /*toSend*/,
             curl_off_t /*sent*/) noexcept
{
    return isAborted(static_cast<const bool*>(aborted));
}

/// Sets options until one fails. A request is sent only if all could be set: its security may depend on any
/// of them.
class Options {
public:
    explicit Options(Handle& handle) : curl_(handle.curl()), status_(handle.bindSockets()) {}

    template <typename Argument>
    Options& set(CURLoption option, Argument argument)
    {
        if (status_ == CURLE_OK) {
            status_ = curl_easy_setopt(curl_, option, argument);
        }
        return *this;
    }
    [[nodiscard]] CURLcode status() const { return status_; }

private:
    CURL* curl_;
    CURLcode status_;
};

void setSecurity(Options& options, const TlsFiles& files, std::string& host)
{
    options.set(CURLOPT_PROTOCOLS_STR, "https")
        .set(CURLOPT_FOLLOWLOCATION, 0L)
        .set(CURLOPT_PROXY, "")
        .set(CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2))
        // Each connection verifies its server again; also, libcurl 7.88 frees a session twice if it runs out
        // of memory while storing it.
        .set(CURLOPT_SSL_SESSIONID_CACHE, 0L)
        .set(CURLOPT_SSL_VERIFYPEER, 1L)
        .set(CURLOPT_SSL_VERIFYHOST, 2L)
        .set(CURLOPT_SSL_CTX_FUNCTION, &setUpContext)
        .set(CURLOPT_SSL_CTX_DATA, &host)
        .set(CURLOPT_CAINFO, files.ca.path.c_str())
        // Otherwise the system's authorities would be trusted as well.
        .set(CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    if (!files.certificate.path.empty()) {
        options.set(CURLOPT_SSLCERT, files.certificate.path.c_str())
            .set(CURLOPT_SSLKEY, files.key.c_str())
            // Otherwise the pass phrase of an encrypted key would be requested on the terminal.
            .set(CURLOPT_KEYPASSWD, "");
    }
}

void setLimits(Options& options, const Config& config, const Request& request)
{
    options
        .set(CURLOPT_NOSIGNAL, 1L)
        // Otherwise a slow lookup of the server's name is waited for to its end, whatever the limits are.
        .set(CURLOPT_QUICK_EXIT, 1L)
        .set(CURLOPT_CONNECTTIMEOUT, static_cast<long>(config.httpConnectTimeoutSeconds))
        .set(CURLOPT_TIMEOUT, static_cast<long>(config.httpTotalTimeoutSeconds))
        .set(CURLOPT_LOW_SPEED_LIMIT, STALL_BYTES_PER_SECOND)
        .set(CURLOPT_LOW_SPEED_TIME, static_cast<long>(config.httpStallTimeoutSeconds))
        .set(CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(config.httpResponseLimitBytes))
        .set(CURLOPT_XFERINFOFUNCTION, &progress)
        .set(CURLOPT_XFERINFODATA, request.aborted)
        .set(CURLOPT_NOPROGRESS, 0L);
}

/// Whether a server that gets the request twice does no more than with the first one.
bool mayBeRepeated(const std::string& method) { return method != "POST" && method != "PATCH"; }

/// libcurl repeats a request if a kept connection ends before its response: the server may have closed the
/// idle connection before it saw the request. It cannot know that, so other requests never use a kept one.
void setConnection(Options& options, const Request& request)
{
    const long isAlone = mayBeRepeated(request.method) ? 0L : 1L;
    options.set(CURLOPT_FRESH_CONNECT, isAlone).set(CURLOPT_FORBID_REUSE, isAlone);
}

void setRequest(Options& options, const std::string& serverUrl, const Request& request,
                const curl_slist* headers)
{
    // The target is sent unchanged; as part of the URL it would be parsed, and cut at a "#".
    options.set(CURLOPT_URL, serverUrl.c_str())
        .set(CURLOPT_REQUEST_TARGET, request.target.c_str())
        .set(CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1))
        .set(CURLOPT_HTTPHEADER, headers);
    if (request.body != nullptr) {
        options.set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body->size()))
            .set(CURLOPT_POSTFIELDS, request.body->c_str());
    }
    options.set(CURLOPT_CUSTOMREQUEST, request.method);
}

void setReceiver(Options& options, Receiver& receiver)
{
    options.set(CURLOPT_HTTP09_ALLOWED, 0L)
        .set(CURLOPT_WRITEFUNCTION, &Receiver::onBody)
        .set(CURLOPT_WRITEDATA, &receiver)
        .set(CURLOPT_HEADERFUNCTION, &Receiver::onHeader)
        .set(CURLOPT_HEADERDATA, &receiver);
}

/// Without memory for a moment, for example, OpenSSL's generator of random numbers gets into a state of
/// error. It leaves that when it is seeded, but libcurl does not ask for that: it refuses every new
/// connection.
void mendRandomNumbers() noexcept
{
    if (RAND_status() != 1) {
        constexpr char anything[] = "a request";
        RAND_seed(anything, sizeof anything);
    }
}

} // namespace

int transfer(Handle& handle, const Config& config, const Request& request, Response& response,
             std::string& reason)
{
    const Headers headers = headersOf(request);
    Receiver receiver(response, static_cast<std::size_t>(config.httpResponseLimitBytes));
    std::array<char, CURL_ERROR_SIZE> words{};
    Options options(handle);
    options.set(CURLOPT_ERRORBUFFER, words.data());
    std::string host = hostOf(handle.key().serverUrl);
    setSecurity(options, handle.key().files, host);
    setConnection(options, request);
    setLimits(options, config, request);
    setRequest(options, handle.key().serverUrl, request, headers.get());
    setReceiver(options, receiver);

    CURLcode status = options.status();
    mendRandomNumbers();
    if (status == CURLE_OK) {
        status =
            isAborted(request.aborted) != 0 ? CURLE_ABORTED_BY_CALLBACK : curl_easy_perform(handle.curl());
    }
    if (status == CURLE_OK) {
        status = curl_easy_getinfo(handle.curl(), CURLINFO_RESPONSE_CODE, &response.status);
    }
    if (status != CURLE_OK) {
        reason = words.front() != '\0' ? words.data() : curl_easy_strerror(status);
    }
    return receiver.outcome(status, reason);
}

} // namespace Tessara::Keepsafe::Platform::http
