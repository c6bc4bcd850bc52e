#include "TlsFiles.h"

#include <cerrno>
#include <system_error>

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <keepsafe/platform/log/logmsg.h>

#include "log_tag.h"

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

int failToRead(const Kind& kind, const std::string& path, const std::string& reason)
{
    logmsgf(LOG_LEVEL_ERROR, TAG, "cannot read the %s \"%s\": %s", kind.name, path.c_str(), reason.c_str());
    return kind.status;
}

int failToRead(const Kind& kind, const std::string& path, int errorNumber)
{
    return failToRead(kind, path, std::generic_category().message(errorNumber));
}

int requireConfigured(const Kind& kind, const std::string& path)
{
    if (path.empty()) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "no %s: \"%s\" is not configured", kind.name, kind.setting);
        return kind.status;
    }
    return CURLE_OK;
}

int requireRegular(const Kind& kind, const std::string& path, const struct stat& status)
{
    return S_ISREG(status.st_mode) ? CURLE_OK : failToRead(kind, path, "not a regular file");
}

int find(const Kind& kind, const std::string& path, TlsFile& file)
{
    if (requireConfigured(kind, path) != CURLE_OK) {
        return kind.status;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return failToRead(kind, path, errno);
    }
    file = {path, System::FileState(status)};
    return requireRegular(kind, path, status);
}

int findHost(const Config& config, TlsFiles& files)
{
    int status = find(CERTIFICATE, config.tlsCertificate, files.certificate);
    if (status == CURLE_OK) {
        status = requireConfigured(KEY, config.tlsKey);
        files.key = config.tlsKey;
    }
    return status;
}

int open(const Kind& kind, const std::string& path)
{
    if (path.empty()) {
        return CURLE_OK;
    }
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return failToRead(kind, path, errno);
    }
    struct stat status {};
    const int error = ::fstat(descriptor, &status) == 0 ? 0 : errno;
    ::close(descriptor);
    return error == 0 ? requireRegular(kind, path, status) : failToRead(kind, path, error);
}

} // namespace

int findTlsFiles(const Config& config, bool authenticateHost, TlsFiles& files)
{
    files = {};
    const int status = authenticateHost ? findHost(config, files) : CURLE_OK;
    return status == CURLE_OK ? find(CA, config.tlsCa, files.ca) : status;
}

int checkReadable(const TlsFiles& files)
{
    int status = open(CERTIFICATE, files.certificate.path);
    if (status == CURLE_OK) {
        status = open(KEY, files.key);
    }
    return status == CURLE_OK ? open(CA, files.ca.path) : status;
}

} // namespace Tessara::Keepsafe::Platform::http
