#include "root/certificates.h"

#include <algorithm>

#include <arpa/inet.h>

#include "root/Certificate.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;

namespace {

constexpr char AUTHORITY_NAME[] = "ksrbac-sandbox authority";

bool isAddress(const std::string& text)
{
    unsigned char address[sizeof(in6_addr)];
    return ::inet_pton(AF_INET, text.c_str(), address) == 1 ||
           ::inet_pton(AF_INET6, text.c_str(), address) == 1;
}

bool isHostName(const std::string& text)
{
    constexpr std::size_t most = 253;
    const auto isAllowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
               c == '.' || c == '_';
    };
    return !text.empty() && text.size() <= most && text.front() != '-' && text.front() != '.' &&
           std::all_of(text.begin(), text.end(), isAllowed);
}

std::vector<std::string> serverNames(const std::string& service)
{
    std::vector<std::string> names = {"DNS:localhost", "IP:127.0.0.1"};
    const std::string name = (isAddress(service) ? "IP:" : "DNS:") + service;
    if (std::find(names.begin(), names.end(), name) == names.end()) {
        names.push_back(name);
    }
    return names;
}

void requireUsable(const std::string& path, const Certificate& certificate, CertificateUse use,
                   const Certificate& authority)
{
    const std::string fault = certificate.faultAs(use, authority);
    if (!fault.empty()) {
        throw InputError(path + " cannot be used (" + fault + "): move it away, and init makes another");
    }
}

} // namespace

void requireAddressOrHostName(const std::string& service)
{
    if (!isAddress(service) && !isHostName(service)) {
        throw InputError("\"" + service + "\" is neither an IP address nor a host name");
    }
}

std::vector<EnsuredFile> ensureCertificates(const RootLayout& layout, const std::string& service)
{
    requireAddressOrHostName(service);
    std::vector<EnsuredFile> ensured;
    const auto ensure = [&ensured](const std::string& key, const std::string& certificate, auto issue) {
        return ensurePair<PrivateKey>({key, certificate, "certificate"}, issue, ensured);
    };

    const std::pair<PrivateKey, Certificate> issuer =
        ensure(layout.authorityKey(), layout.authorityCertificate(),
               [](const PrivateKey& key) { return Certificate::issueAuthority(AUTHORITY_NAME, key); });
    const Certificate& authority = issuer.second;
    requireUsable(layout.authorityCertificate(), authority, CertificateUse::Authority, authority);
    const auto issue = [&issuer](const CertificateRequest& request) {
        return [&issuer, request](const PrivateKey& key) {
            return Certificate::issue(request, key, issuer.second, issuer.first);
        };
    };

    const Certificate server =
        ensure(layout.serverKey(), layout.serverCertificate(),
               issue({"ksrbac-sandbox service", CertificateUse::Server, serverNames(service)}))
            .second;
    requireUsable(layout.serverCertificate(), server, CertificateUse::Server, authority);
    if (!server.isFor(service)) {
        throw InputError(layout.serverCertificate() + " is not for the service's address, " + service +
                         ": move it away, and init makes another");
    }
    const Certificate host = ensure(layout.hostKey(), layout.hostCertificate(),
                                    issue({"ksrbac-sandbox host", CertificateUse::Client, {}}))
                                 .second;
    requireUsable(layout.hostCertificate(), host, CertificateUse::Client, authority);
    return ensured;
}

} // namespace keepsafe_sandbox
