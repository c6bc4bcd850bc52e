#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include <openssl/x509.h>
#include <sys/stat.h>

#include <keepsafe/platform/config/config.h>

#include "doctor/Certificate.h"
#include "doctor/Examination.h"
#include "read_file.h"

namespace ksrbac {

namespace Platform = Tessara::Keepsafe::Platform;
namespace Process = Tessara::Keepsafe::Process;

namespace {

constexpr char AUTHORITIES[] = "CA certificates";
constexpr char CERTIFICATE[] = "client certificate";
constexpr char KEY[] = "client key";
constexpr std::size_t LONGEST_FILE = std::size_t{16} << 20U;

/// The content of a configured file; nothing, with a finding, if there is none.
std::optional<std::string> readConfigured(const char* what, const char* setting,
                                          const std::string Platform::Config::*path, Examination& examination)
{
    if (!examination.config) {
        examination.skip(what, "there is no configuration to read");
        return std::nullopt;
    }
    const std::string& file = (*examination.config).*path;
    if (file.empty() && examination.config->masterServer.empty()) {
        examination.skip(what, "no master server is configured");
        return std::nullopt;
    }
    if (file.empty()) {
        examination.fail(what,
                         std::string(setting) + " is not configured: no request to the master server is made",
                         std::string("set ") + setting + " in " + Platform::configPath());
        return std::nullopt;
    }
    int failure = 0;
    const Process::Descriptor descriptor = Process::openTrustedFile(file, failure);
    std::string content;
    if (descriptor.isOpen()) {
        failure = Process::readAll(descriptor, content, LONGEST_FILE);
    }
    if (failure != 0) {
        examination.cannotRead(what, file, failure);
        return std::nullopt;
    }
    return content;
}

/// The certificates of a configured file, at least one.
std::vector<Certificate> readCertificates(const char* what, const char* setting,
                                          const std::string Platform::Config::*path, Examination& examination)
{
    const std::optional<std::string> content = readConfigured(what, setting, path, examination);
    if (!content) {
        return {};
    }
    std::vector<Certificate> certificates = certificatesIn(*content);
    if (certificates.empty()) {
        examination.fail(what, (*examination.config).*path + " holds no certificate in PEM",
                         std::string("correct ") + setting + " in " + Platform::configPath());
    }
    return certificates;
}

std::vector<Certificate> readQuietly(const std::string& path)
{
    int failure = 0;
    std::string content;
    const Process::Descriptor file = Process::openTrustedFile(path, failure);
    if (!file.isOpen() || Process::readAll(file, content, LONGEST_FILE) != 0) {
        return {};
    }
    return certificatesIn(content);
}

void addValidity(const char* what, const std::string& subject, const Validity& validity,
                 const std::string& remedy, Examination& examination)
{
    const std::string text = subject + ' ' + validity.text;
    if (validity.state == Finding::State::Ok) {
        examination.ok(what, text);
    } else if (validity.state == Finding::State::Warning) {
        examination.warn(what, text, remedy);
    } else {
        examination.fail(what, text, remedy);
    }
}

/// The one that stays valid for longest vouches for the file: others may be there for the time after it, or
/// be left from before.
const X509& longestValid(const std::vector<Certificate>& certificates)
{
    const X509* longest = certificates.front().get();
    for (const Certificate& certificate : certificates) {
        if (ASN1_TIME_compare(X509_get0_notAfter(certificate.get()), X509_get0_notAfter(longest)) > 0) {
            longest = certificate.get();
        }
    }
    return *longest;
}

std::string modeText(mode_t mode)
{
    char text[8];
    (void)std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777U));
    return text;
}

/// Whether the mode lets others than the owner do what they should not; the group may read it.
bool isExposed(mode_t mode) { return (mode & (S_IWGRP | S_IRWXO)) != 0; }

} // namespace

void checkAuthorities(Examination& examination)
{
    const auto certificates = readCertificates(AUTHORITIES, "tls.ca", &Platform::Config::tlsCa, examination);
    if (certificates.empty()) {
        return;
    }
    const X509& authority = longestValid(certificates);
    addValidity(AUTHORITIES, subjectOf(authority), validityOf(authority),
                "put the certificate of the next authority into " + examination.config->tlsCa +
                    " before the servers' certificates change",
                examination);
}

void checkClientCertificate(Examination& examination)
{
    const auto certificates =
        readCertificates(CERTIFICATE, "tls.certificate", &Platform::Config::tlsCertificate, examination);
    if (certificates.empty()) {
        return;
    }
    const std::string& path = examination.config->tlsCertificate;
    const Validity validity = validityOf(*certificates.front());
    const auto authorities = readQuietly(examination.config->tlsCa);
    const std::string fault = authorities.empty() ? "" : faultOfChain(certificates, authorities);
    if (fault.empty() || validity.state == Finding::State::Failure) {
        addValidity(CERTIFICATE, subjectOf(*certificates.front()), validity,
                    "renew it, and its key with it: " + path, examination);
        return;
    }
    examination.warn(
        CERTIFICATE,
        subjectOf(*certificates.front()) + " does not lead to the authorities in tls.ca: " + fault,
        "a server with the same authorities refuses it: put the certificates between them behind it, "
        "into " +
            path);
}

void checkClientKey(Examination& examination)
{
    const auto content = readConfigured(KEY, "tls.key", &Platform::Config::tlsKey, examination);
    if (!content) {
        return;
    }
    const std::string& path = examination.config->tlsKey;
    const PrivateKey key = privateKeyIn(*content);
    if (!key) {
        examination.fail(KEY, path + " holds no private key in PEM that can be read without a pass phrase",
                         "write the key there without a pass phrase, readable by its owner alone");
        return;
    }
    const auto certificates = readQuietly(examination.config->tlsCertificate);
    if (!certificates.empty() && X509_check_private_key(certificates.front().get(), key.get()) != 1) {
        examination.fail(KEY,
                         path + " is not the key of the certificate in " + examination.config->tlsCertificate,
                         "put the key there that the certificate was made with");
        return;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) == 0 && isExposed(status.st_mode)) {
        examination.warn(
            KEY, path + " has the mode " + modeText(status.st_mode) + ": others than its owner may use it",
            "chmod 600 " + path + "; if others had access, renew key and certificate");
        return;
    }
    examination.ok(KEY, path + (certificates.empty() ? " is a private key" : " belongs to the certificate"));
}

} // namespace ksrbac
