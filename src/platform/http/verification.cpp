#include "verification.h"

#include <arpa/inet.h>
#include <array>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

namespace Tessara::Keepsafe::Platform::http {
namespace {

bool isAddress(const std::string& host) noexcept
{
    std::array<unsigned char, sizeof(in6_addr)> address{};
    return ::inet_pton(AF_INET, host.c_str(), address.data()) == 1 ||
           ::inet_pton(AF_INET6, host.c_str(), address.data()) == 1;
}

} // namespace

CURLcode setUpContext(CURL* /*handle*/, void* tlsContext, void* host) noexcept
{
    auto* const context = static_cast<SSL_CTX*>(tlsContext);
    SSL_CTX_set_keylog_callback(context, nullptr);
    X509_VERIFY_PARAM* const rules = SSL_CTX_get0_param(context);
    X509_VERIFY_PARAM_set_hostflags(rules, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT |
                                               X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    const std::string& name = *static_cast<const std::string*>(host);
    // A name may end in the dot of the root, which certificates leave out.
    const std::size_t length = name.size() - (!name.empty() && name.back() == '.' ? 1 : 0);
    const int isSet = isAddress(name) ? X509_VERIFY_PARAM_set1_ip_asc(rules, name.c_str())
                                      : X509_VERIFY_PARAM_set1_host(rules, name.data(), length);
    return isSet == 1 ? CURLE_OK : CURLE_PEER_FAILED_VERIFICATION;
}

} // namespace Tessara::Keepsafe::Platform::http
