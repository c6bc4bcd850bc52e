#ifndef KEEPSAFE_SANDBOX_ROOT_CONFIGURATION_H
#define KEEPSAFE_SANDBOX_ROOT_CONFIGURATION_H

#include <string>
#include <vector>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/dal/Dal.h>

#include "root/RootLayout.h"

namespace keepsafe_sandbox {

/// The default master server of a root.
constexpr char OWN_MASTER_SERVER[] = "127.0.0.1";

/// The configuration file's text for a database and a master server: feature 1 on, log messages from level 8
/// on into the root's log file, the root's own certificates. Throws `InputError` when a configuration cannot
/// hold it (text that is not UTF-8, no server's name).
std::string configurationText(const RootLayout& layout, const Tessara::Dal::DbConnectionSettings& database,
                              const std::string& masterServer = OWN_MASTER_SERVER);

/// The settings, as lines of a configuration, that a root needs to reach its service and that this
/// configuration leaves out.
std::vector<std::string> missingServiceSettings(const RootLayout& layout,
                                                const Tessara::Keepsafe::Platform::Config& configuration,
                                                const std::string& masterServer);

/// The root's configuration. Throws `InputError` when there is no usable one.
Tessara::Keepsafe::Platform::Config loadConfiguration(const RootLayout& layout);

/// How the root connects to its database. Throws `InputError` likewise.
Tessara::Dal::DbConnectionSettings loadDatabaseSettings(const RootLayout& layout);

} // namespace keepsafe_sandbox

#endif
