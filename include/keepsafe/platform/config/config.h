#ifndef KEEPSAFE_PLATFORM_CONFIG_CONFIG_H
#define KEEPSAFE_PLATFORM_CONFIG_CONFIG_H

#include <set>
#include <stdexcept>
#include <string>

#include <keepsafe/platform/export/export.h>

/// \file
/// The product's configuration, `<installation root>/etc/keepsafe.toml`.

namespace Tessara::Keepsafe::Platform {

/// A malformed configuration: `what()` names file, line, column and what is wrong there.
class KEEPSAFE_API ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ~ConfigError() override;
};

/// What the configuration file says. A missing file, and every key that a file leaves out, means the value
/// here.
struct Config {
    std::string masterServer; ///< `master_server`: host name of the master server; empty when none is set
    std::set<int> enabledFeatures; ///< `[features] enabled = [1]`: numbers of the features that are on
    int logThreshold = 8;          ///< `[log] level`
    std::string logDestination = "stderr"; ///< `[log] destination`: "stderr", "syslog" or "file:" and a path
};

/// Reads the file anew. Throws `ConfigError` when it exists but cannot be read or is malformed: not TOML, a
/// value of the wrong type or out of range, a key that is not known.
KEEPSAFE_API Config loadConfig();

/// The same from a text; `name` stands for the file in messages.
KEEPSAFE_API Config parseConfig(const std::string& text, const std::string& name);

/// Directs the process's log messages as `config` says. Throws `std::runtime_error` when a log file cannot be
/// opened.
KEEPSAFE_API void applyLogConfig(const Config& config, const std::string& program);

} // namespace Tessara::Keepsafe::Platform

extern "C" {

/// Whether a feature of the product is on: non-zero means enabled. Feature 1 is role-based enforcement. Read
/// from the configuration at the first call after the installation root was set, and again when the file's
/// modification time or size changes. A configuration that cannot be read counts as "enabled", with an error
/// in the log: enforcement must not be switched off by a damaged file. Any thread; never throws.
KEEPSAFE_API int IsFeatureEnabled_c(int feature);

/// Copies the master server's name, zero-terminated, into `buffer` of `size` bytes. Returns 0, or a status
/// and leaves the buffer an empty string: 20 when the buffer is missing or too small, 13 when the
/// configuration cannot be read, 114 when no master server is configured. Any thread; never throws.
KEEPSAFE_API int db_getservernameEx(char* buffer, unsigned long size);

} // extern "C"

#endif
