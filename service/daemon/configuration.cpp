#include "daemon/configuration.h"

#include "errors/InputError.h"
#include "files/FileError.h"
#include "files/FileSystem.h"

namespace keepsafe_service {

namespace Platform = Tessara::Keepsafe::Platform;

std::optional<Platform::Config> findConfiguration(const std::string& path)
{
    const std::optional<std::string> text = readWhole(path);
    if (!text) {
        return std::nullopt;
    }
    try {
        Platform::Config configuration = Platform::parseConfig(*text, path);
        if (configuration.databaseConnection.empty()) {
            throw InputError(path +
                             " names no database: add 'connection' under [database], or move the file away");
        }
        return configuration;
    } catch (const Platform::ConfigError& error) {
        throw InputError(error.what());
    }
}

Tessara::Dal::DbConnectionSettings databaseSettings(const Platform::Config& configuration)
{
    Tessara::Dal::DbConnectionSettings settings;
    settings.connectionString = configuration.databaseConnection;
    settings.onConnect = configuration.databaseOnConnect;
    return settings;
}

ServerTlsFiles serverTlsFiles(const Platform::Config& configuration, const std::string& path)
{
    const auto require = [&path](const std::string& file, const char* key) {
        if (file.empty()) {
            throw InputError(path + " names no " + key + ": add '" + key + "' under [tls]");
        }
        return file;
    };
    return {require(configuration.tlsCertificate, "certificate"), require(configuration.tlsKey, "key"),
            require(configuration.tlsCa, "ca")};
}

ListenAddress listenAddress(const std::optional<std::string>& listen, const Platform::Config& configuration,
                            const std::string& path)
{
    if (listen) {
        return ListenAddress::parse(*listen);
    }
    if (configuration.masterServer.empty()) {
        throw InputError(path + " names no master server: add 'master_server', or say where with --listen");
    }
    return {configuration.masterServer};
}

} // namespace keepsafe_service
