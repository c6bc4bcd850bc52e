#ifndef KEEPSAFE_SERVICE_DAEMON_CONFIGURATION_H
#define KEEPSAFE_SERVICE_DAEMON_CONFIGURATION_H

#include <optional>
#include <string>

#include <keepsafe/platform/config/config.h>
#include <keepsafe/platform/dal/Dal.h>

#include "server/HttpsListener.h"
#include "server/ListenAddress.h"

/// \file
/// The service's part of a configuration file in the form of keepsafe.toml. A missing or unusable
/// setting throws `InputError` with the file's name and, where there is one, the place in it.

namespace keepsafe_service {

/// The configuration, which must name a database. Empty if there is no file.
std::optional<Tessara::Keepsafe::Platform::Config> findConfiguration(const std::string& path);

/// How to connect to its database.
Tessara::Dal::DbConnectionSettings databaseSettings(const Tessara::Keepsafe::Platform::Config& configuration);

/// The files of [tls]: the service's certificate and key, and the authority of its clients. `path` is for
/// messages.
ServerTlsFiles serverTlsFiles(const Tessara::Keepsafe::Platform::Config& configuration,
                              const std::string& path);

/// `listen`, in the form of `ListenAddress`, or else the port for services of the configured master server.
ListenAddress listenAddress(const std::optional<std::string>& listen,
                            const Tessara::Keepsafe::Platform::Config& configuration,
                            const std::string& path);

} // namespace keepsafe_service

#endif
