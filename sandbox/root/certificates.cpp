#include "root/certificates.h"

#include <algorithm>
#include <optional>

#include <arpa/inet.h>

#include "cachewriter/FileSystem.h"
#include "errors/InputError.h"
#include "root/Certificate.h"
#include "root/new_file.h"

namespace keepsafe_sandbox {

namespace {

constexpr char AUTHORITY_NAME[] = "ksrbac-sandbox authority";

struct PairPaths {
    std::string key;
    std::string certificate;
};

struct Pair {
    PrivateKey key;
    Certificate certificate;
};

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

/// What `read` makes of the file; nothing when there is none.
template <typename Read>
auto findPem(const std::string& path, Read read) -> std::optional<decltype(read(path))>
{
    const std::optional<std::string> pem = readWhole(path);
    if (!pem) {
        return std::nullopt;
    }
    try {
        return read(*pem);
    } catch (const InputError& error) {
        throw InputError(path + ": " + error.what());
    }
}

std::optional<PrivateKey> findKey(const std::string& path)
{
    std::optional<PrivateKey> key = findPem(path, PrivateKey::fromPem);
    if (key) {
        requireOwnerOnly(path);
    }
    return key;
}

std::optional<Certificate> findCertificate(const std::string& path)
{
    return findPem(path, Certificate::fromPem);
}

/// What another process has put there since it was not there.
template <typename Found>
Found madeMeanwhile(std::optional<Found> found, const std::string& path)
{
    if (!found) {
        throw InputError(path + " came and went meanwhile: run init again");
    }
    return *found;
}

class Maker {
public:
    explicit Maker(std::vector<EnsuredFile>& ensured) : ensured_(ensured) {}

    /// `issue` makes the certificate of a key.
    template <typename Issue>
    Pair ensure(const PairPaths& paths, Issue issue)
    {
        // In this order, the reverse of that in which they are made: a certificate that another process has
        // just made then has its key.
        std::optional<Certificate> certificate = findCertificate(paths.certificate);
        std::optional<PrivateKey> key = findKey(paths.key);
        if (certificate && !key) {
            throw InputError(paths.certificate + " is there, but not the private key that belongs to it, " +
                             paths.key + ": move the certificate away, or bring the private key back");
        }
        if (!key) {
            key = PrivateKey::generate();
            if (!make(paths.key, OWNER_ONLY, key->pem())) {
                key = madeMeanwhile(findKey(paths.key), paths.key);
            }
        } else {
            ensured_.push_back({false, paths.key});
        }
        if (!certificate) {
            certificate = issue(*key);
            if (!make(paths.certificate, EVERYBODY, certificate->pem())) {
                certificate = madeMeanwhile(findCertificate(paths.certificate), paths.certificate);
            }
        } else {
            ensured_.push_back({false, paths.certificate});
        }
        if (!certificate->belongsTo(*key)) {
            throw InputError(paths.certificate + " does not belong to the private key " + paths.key +
                             ": move the one away that is wrong");
        }
        return {*key, *certificate};
    }

private:
    bool make(const std::string& path, mode_t mode, const std::string& content)
    {
        const bool isMade = createFile(path, mode, content);
        ensured_.push_back({isMade, path});
        return isMade;
    }

    std::vector<EnsuredFile>& ensured_;
};

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
    Maker maker(ensured);

    const Pair authority =
        maker.ensure({layout.authorityKey(), layout.authorityCertificate()},
                     [](const PrivateKey& key) { return Certificate::issueAuthority(AUTHORITY_NAME, key); });
    requireUsable(layout.authorityCertificate(), authority.certificate, CertificateUse::Authority,
                  authority.certificate);
    const auto issue = [&](const CertificateRequest& request) {
        return [&authority, request](const PrivateKey& key) {
            return Certificate::issue(request, key, authority.certificate, authority.key);
        };
    };

    const Pair server =
        maker.ensure({layout.serverKey(), layout.serverCertificate()},
                     issue({"ksrbac-sandbox service", CertificateUse::Server, serverNames(service)}));
    requireUsable(layout.serverCertificate(), server.certificate, CertificateUse::Server,
                  authority.certificate);
    if (!server.certificate.isFor(service)) {
        throw InputError(layout.serverCertificate() + " is not for the service's address, " + service +
                         ": move it away, and init makes another");
    }
    const Pair host = maker.ensure({layout.hostKey(), layout.hostCertificate()},
                                   issue({"ksrbac-sandbox host", CertificateUse::Client, {}}));
    requireUsable(layout.hostCertificate(), host.certificate, CertificateUse::Client, authority.certificate);
    return ensured;
}

} // namespace keepsafe_sandbox
