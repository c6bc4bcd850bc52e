#ifndef KEEPSAFE_SRC_PLATFORM_HTTP_TLSFILES_H
#define KEEPSAFE_SRC_PLATFORM_HTTP_TLSFILES_H

#include <string>

#include <keepsafe/platform/config/config.h>

#include "FileState.h"

namespace Tessara::Keepsafe::Platform::http {

/// A file in its current state: after it is replaced or rewritten under the same path it is a different one.
struct TlsFile {
    std::string path; ///< empty: not used
    Process::FileState state;

    friend bool operator==(const TlsFile& left, const TlsFile& right)
    {
        return left.state == right.state && left.path == right.path;
    }
};

/// The files that authenticate the host and its servers.
struct TlsFiles {
    TlsFile certificate;
    /// Only its path: a new key comes with a new certificate, and querying two files for each request is
    /// cheaper than three.
    std::string key;
    TlsFile ca;

    friend bool operator==(const TlsFiles& left, const TlsFiles& right)
    {
        return left.certificate == right.certificate && left.key == right.key && left.ca == right.ca;
    }
};

/// Finds the configured files; certificate and key only when the host authenticates itself. Returns 0, or
/// libcurl's status for such a file when one is not configured, or is not there, which is then logged;
/// `checkReadable` checks the key. `reason` describes the failure.
int findTlsFiles(const Config& config, bool authenticateHost, TlsFiles& files, std::string& reason);

/// Returns 0, or libcurl's status for the first of the files that cannot be read, which is then logged.
int checkReadable(const TlsFiles& files, std::string& reason);

} // namespace Tessara::Keepsafe::Platform::http

#endif
