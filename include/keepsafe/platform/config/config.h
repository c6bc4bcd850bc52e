#ifndef KEEPSAFE_PLATFORM_CONFIG_CONFIG_H
#define KEEPSAFE_PLATFORM_CONFIG_CONFIG_H

#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include <keepsafe/platform/export/export.h>

/// \file
/// The product's configuration, `<installation root>/etc/keepsafe.toml`.

namespace Tessara::Keepsafe::Platform {

/// A configuration that cannot be used. `what()` names the file and the reason when it cannot be read, and
/// "file:line:column: " with the error when it is malformed.
class KEEPSAFE_API ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~ConfigError() override;
};

/// What the configuration file says. A missing file, and every key that a file leaves out, means the value
/// here.
struct Config {
    /// `master_server`: host name or address of the master server, at most 256 bytes; empty when none is set
    std::string masterServer;
    /// `[features] enabled = [1]`: numbers, from 1 on, of the features that are on
    std::set<int> enabledFeatures;
    /// `[log] level`: 0 to 16, so that errors cannot be silenced
    int logThreshold = 8;
    /// `[log] destination`: "stderr", "syslog" or "file:" and an absolute path
    std::string logDestination = "stderr";
    /// `[database] connection`: ODBC connection string; empty when none is set. May hold a password
    std::string databaseConnection;
    /// `[database] on_connect`: statements that are run on every new connection, in order
    std::vector<std::string> databaseOnConnect;
    /// `[tls] certificate`, `key`: absolute paths of the host's certificate (with what leads from it to its
    /// issuer) and of its private key, in PEM; empty when none is set
    std::string tlsCertificate;
    std::string tlsKey;
    /// `[tls] ca`: absolute path of the certificates, in PEM, that servers' certificates are issued by; empty
    /// when none is set
    std::string tlsCa;
    /// `[http] connect_timeout`, `total_timeout`, `stall_timeout`: 1 to 3600 seconds
    int httpConnectTimeoutSeconds = 10;
    int httpTotalTimeoutSeconds = 300;
    int httpStallTimeoutSeconds = 30;
    /// `[http] response_limit`: the longest body of a response that is accepted, 1 byte to 1 GiB
    int httpResponseLimitBytes = 64 * 1024 * 1024;
};

/// The file's path under the current installation root.
KEEPSAFE_API std::string configPath();

/// Reads the file again. Throws `ConfigError` when it exists but cannot be read or is malformed: not TOML, a
/// value of the wrong type or out of range, a key that is not known.
KEEPSAFE_API Config loadConfig();

/// The current configuration, read only if the file or the installation root has changed since an earlier
/// call. Never null. Throws `ConfigError` as `loadConfig` does; the reason is logged at level 16 under `tag`,
/// once for each state of the file, not once per caller. Any thread.
KEEPSAFE_API std::shared_ptr<const Config> currentConfig(const char* tag);

/// The same as `loadConfig` from a text; `name` stands for the file in messages.
KEEPSAFE_API Config parseConfig(const std::string& text, const std::string& name);

/// Directs the process's log messages as `config` says. Throws `std::runtime_error` when a log file cannot be
/// opened.
KEEPSAFE_API void applyLogConfig(const Config& config, const std::string& program);

} // namespace Tessara::Keepsafe::Platform

extern "C" {

/// Whether a feature of the product is on: non-zero means enabled. Feature 1 is role-based enforcement. Read
/// from the configuration at the first call and again whenever the file or the installation root changes,
/// which costs a query of the file's state per call. A configuration that cannot be used counts as "enabled":
/// enforcement must not be switched off by a damaged file. The reason is logged at level 16, once for each
/// state of the file, under the name of the function here that met it. Any thread; never throws.
KEEPSAFE_API int IsFeatureEnabled_c(int feature);

/// Copies the master server's name, zero-terminated, into `buffer` of `size` bytes. Returns 0, or a status
/// and leaves the buffer an empty string: 20 when the buffer is missing or too small, 13 when the
/// configuration cannot be used (logged as above), 114 when no master server is configured. Any thread; never
/// throws.
KEEPSAFE_API int db_getservernameEx(char* buffer, unsigned long size);

} // extern "C"

#endif
