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

int find(const Kind& kind, const std::string& path, TlsFile& file)
{
    if (path.empty()) {
        logmsgf(LOG_LEVEL_ERROR, TAG, "no %s: \"%s\" is not configured", kind.name, kind.setting);
        return kind.status;
    }
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return failToRead(kind, path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        return failToRead(kind, path, "not a regular file");
    }
    file = {path, System::FileState(status)};
    return CURLE_OK;
}

int open(const Kind& kind, const TlsFile& file)
{
    if (file.path.empty()) {
        return CURLE_OK;
    }
    const int descriptor = ::open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return failToRead(kind, file.path, errno);
    }
    ::close(descriptor);
    return CURLE_OK;
}

} // namespace

int findTlsFiles(const Config& config, bool authenticateHost, TlsFiles& files)
{
    files = {};
    int status = CURLE_OK;
    if (authenticateHost) {
        status = find(CERTIFICATE, config.tlsCertificate, files.certificate);
        if (status == CURLE_OK) {
            status = find(KEY, config.tlsKey, files.key);
        }
    }
    return status == CURLE_OK ? find(CA, config.tlsCa, files.ca) : status;
}

int checkReadable(const TlsFiles& files)
{
    int status = open(CERTIFICATE, files.certificate);
    if (status == CURLE_OK) {
        status = open(KEY, files.key);
    }
    return status == CURLE_OK ? open(CA, files.ca) : status;
}

} // namespace Tessara::Keepsafe::Platform::http
