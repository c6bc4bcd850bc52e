#include "TlsFiles.h"

#include <cerrno>

#include <curl/curl.h>
#include <sys/stat.h>

#include <keepsafe/platform/log/logmsg.h>

#include "log_tag.h"
#include "read_file.h"

namespace Tessara::Keepsafe::Platform::http {
namespace {

struct Kind {
    const char* name; ///< in messages
    const char* setting;
    int status; ///< when it cannot be used
};

constexpr Kind CERTIFICATE{"certificate", "tls.certificate", CURLE_SSL_CERTPROBLEM};
constexpr Kind KEY{"private key", "tls.key", CURLE_SSL_CERTPROBLEM};
constexpr Kind CA{"CA certificates", "tls.ca", CURLE_SSL_CACERT_BADFILE};

int fail(const Kind& kind, const std::string& text, std::string& reason)
{
    logmsgf(LOG_LEVEL_ERROR, TAG, "%s", text.c_str());
    reason = text;
    return kind.status;
}

int failToRead(const Kind& kind, const std::string& path, int failure, std::string& reason)
{
    return fail(kind,
                std::string("cannot read the ") + kind.name + " \"" + path +
                    "\": " + Process::failureText(failure),
                reason);
}

int requireConfigured(const Kind& kind, const std::string& path, std::string& reason)
{
    if (!path.empty()) {
        return CURLE_OK;
    }
    fail(kind, std::string("no ") + kind.name + ": \"" + kind.setting + "\" is not configured", reason);
    reason += " in " + configPath();
    return kind.status;
}

int find(const Kind& kind, const std::string& path, TlsFile& file, std::string& reason)
{
    if (requireConfigured(kind, path, reason) != CURLE_OK) {
        return kind.status;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return failToRead(kind, path, errno, reason);
    }
    file = {path, Process::FileState(status)};
    return S_ISREG(status.st_mode) ? CURLE_OK : failToRead(kind, path, Process::NOT_REGULAR, reason);
}

int findHost(const Config& config, TlsFiles& files, std::string& reason)
{
    int status = find(CERTIFICATE, config.tlsCertificate, files.certificate, reason);
    if (status == CURLE_OK) {
        status = requireConfigured(KEY, config.tlsKey, reason);
        files.key = config.tlsKey;
    }
    return status;
}

int open(const Kind& kind, const std::string& path, std::string& reason)
{
    if (path.empty()) {
        return CURLE_OK;
    }
    int failure = 0;
    if (Process::openTrustedFile(path, failure).isOpen()) {
        return CURLE_OK;
    }
    return failToRead(kind, path, failure == EISDIR ? Process::NOT_REGULAR : failure, reason);
}

} // namespace

int findTlsFiles(const Config& config, bool authenticateHost, TlsFiles& files, std::string& reason)
{
    files = {};
    const int status = authenticateHost ? findHost(config, files, reason) : CURLE_OK;
    return status == CURLE_OK ? find(CA, config.tlsCa, files.ca, reason) : status;
}

int checkReadable(const TlsFiles& files, std::string& reason)
{
    int status = open(CERTIFICATE, files.certificate.path, reason);
    if (status == CURLE_OK) {
        status = open(KEY, files.key, reason);
    }
    return status == CURLE_OK ? open(CA, files.ca.path, reason) : status;
}

} // namespace Tessara::Keepsafe::Platform::http
