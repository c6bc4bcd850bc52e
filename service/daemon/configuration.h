#ifndef KEEPSAFE_SANDBOX_DAEMON_CONFIGURATION_H
#define KEEPSAFE_SANDBOX_DAEMON_CONFIGURATION_H

#include <optional>
#include <string>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/dal/Dal.h>

#include "server/HttpsListener.h"
#include "server/ListenAddress.h"

/// \file
/// What the service takes from a configuration, a file in the form of keepsafe.toml. What is missing there or
/// cannot be used throws `InputError` with the file's name and, where there is one, the place in it.

namespace keepsafe_sandbox {

/// The configuration, which has to name a database. Nothing when there is no file.
std::optional<Tessara::Keepsafe::Platform::Config> findConfiguration(const std::string& path);

/// How to connect to its database.
Tessara::Dal::DbConnectionSettings databaseSettings(const Tessara::Keepsafe::Platform::Config& configuration);

/// The files of [tls]: what the service shows, and the authority of its clients. `path` is for messages.
ServerTlsFiles serverTlsFiles(const Tessara::Keepsafe::Platform::Config& configuration,
                              const std::string& path);

/// `listen`, in the form of `ListenAddress`, or else the port for services of the configured master server.
ListenAddress listenAddress(const std::optional<std::string>& listen,
                            const Tessara::Keepsafe::Platform::Config& configuration,
                            const std::string& path);

} // namespace keepsafe_sandbox

#endif
