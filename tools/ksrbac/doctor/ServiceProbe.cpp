#include "doctor/ServiceProbe.h"

#include <cstddef>
#include <memory>
#include <string_view>

#include <curl/curl.h>
#include <strings.h>

#include <keepsafe/platform/http/KSClientCURL.h>

#include "token/expiry.h"

namespace ksrbac {

using Tessara::Keepsafe::Platform::Config;

namespace {

struct Cleanup {
    void operator()(CURL* curl) const noexcept { curl_easy_cleanup(curl); }
};
using Handle = std::unique_ptr<CURL, Cleanup>;

constexpr char DATE[] = "date:";
constexpr char CACHE[] = "keepsafe-access-cache:";

bool startsWith(std::string_view line, std::string_view name)
{
    return line.size() >= name.size() && strncasecmp(line.data(), name.data(), name.size()) == 0;
}

std::string valueOf(std::string_view line, std::string_view name)
{
    const std::string value(line.substr(name.size()));
    const std::size_t begin = value.find_first_not_of(" \t");
    const std::size_t end = value.find_last_not_of(" \t\r\n");
    return begin == std::string::npos ? "" : value.substr(begin, end - begin + 1);
}

void readHeader(std::string_view line, ServiceProbe& probe)
{
    if (startsWith(line, DATE)) {
        const std::time_t seconds = curl_getdate(valueOf(line, DATE).c_str(), nullptr);
        if (seconds != -1) {
            probe.dateMilliseconds = static_cast<long long>(seconds) * 1000;
        }
    } else if (startsWith(line, CACHE)) {
        probe.isCacheOutdated = valueOf(line, CACHE) == "outdated";
    }
}

std::size_t onHeader(char* line, std::size_t size, std::size_t count, void* probe)
{
    readHeader({line, size * count}, *static_cast<ServiceProbe*>(probe));
    return size * count;
}

std::size_t ignore(char* /*bytes*/, std::size_t size, std::size_t count, void* /*nobody*/)
{
    return size * count;
}

std::string urlOf(const Config& config, const std::string& path)
{
    const std::string& host = config.masterServer;
    const bool isIPv6 = host.find(':') != std::string::npos;
    return "https://" + (isIPv6 ? '[' + host + ']' : host) + ':' + std::to_string(MASTER_SERVER_PORT) + '/' +
           path;
}

void setCommon(CURL* curl, const Config& config, const std::string& url, std::chrono::milliseconds timeout)
{
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https");
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    curl_easy_setopt(curl, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
    curl_easy_setopt(curl, CURLOPT_SSL_SESSIONID_CACHE, 0L);
    curl_easy_setopt(curl, CURLOPT_CAINFO, config.tlsCa.c_str());
    curl_easy_setopt(curl, CURLOPT_CAPATH, static_cast<const char*>(nullptr));
    curl_easy_setopt(curl, CURLOPT_SSLCERT, config.tlsCertificate.c_str());
    curl_easy_setopt(curl, CURLOPT_SSLKEY, config.tlsKey.c_str());
    curl_easy_setopt(curl, CURLOPT_KEYPASSWD, "");
    curl_easy_setopt(curl, CURLOPT_CERTINFO, 1L);
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(timeout.count()));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &ignore);
}

void takeCertificates(CURL* curl, ServiceProbe& probe)
{
    constexpr std::string_view label = "Cert:";
    curl_certinfo* info = nullptr;
    if (curl_easy_getinfo(curl, CURLINFO_CERTINFO, &info) != CURLE_OK || info == nullptr) {
        return;
    }
    for (int at = 0; at < info->num_of_certs; ++at) {
        for (const curl_slist* line = info->certinfo[at]; line != nullptr; line = line->next) {
            if (startsWith(line->data, label)) {
                for (Certificate& certificate : certificatesIn(line->data + label.size())) {
                    probe.certificates.push_back(std::move(certificate));
                }
            }
        }
    }
}

} // namespace

ServiceProbe probeService(const Config& config, const std::string& path, std::chrono::milliseconds timeout)
{
    ServiceProbe probe;
    const Handle curl(curl_easy_init());
    if (!curl) {
        return probe;
    }
    setCommon(curl.get(), config, urlOf(config, path), timeout);
    curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, &onHeader);
    curl_easy_setopt(curl.get(), CURLOPT_HEADERDATA, &probe);
    const long long begin = nowMilliseconds();
    probe.isAnswered = curl_easy_perform(curl.get()) == CURLE_OK;
    probe.askedMilliseconds = begin + (nowMilliseconds() - begin) / 2;
    takeCertificates(curl.get(), probe);
    return probe;
}

ServiceProbe probeCertificate(const Config& config, std::chrono::milliseconds timeout)
{
    ServiceProbe probe;
    const Handle curl(curl_easy_init());
    if (curl) {
        setCommon(curl.get(), config, urlOf(config, ""), timeout);
        curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(curl.get(), CURLOPT_CONNECT_ONLY, 1L);
        (void)curl_easy_perform(curl.get());
        takeCertificates(curl.get(), probe);
    }
    return probe;
}

} // namespace ksrbac
