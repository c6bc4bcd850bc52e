#include "root/configuration.h"

#include <cstdio>

#include "daemon/configuration.h"
#include "errors/InputError.h"

namespace keepsafe_sandbox {

using keepsafe_service::databaseSettings;
using keepsafe_service::findConfiguration;
using keepsafe_service::InputError;

namespace Platform = Tessara::Keepsafe::Platform;
namespace Dal = Tessara::Dal;

namespace {

/// A TOML basic string.
std::string tomlString(const std::string& text)
{
    std::string out = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            out += '\\';
            out += c;
        } else if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            (void)std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(byte));
            out += escape;
        } else {
            out += c;
        }
    }
    return out + '"';
}

std::string tomlArray(const std::vector<std::string>& texts)
{
    std::string out = "[";
    for (const std::string& text : texts) {
        out += (out.size() > 1 ? ", " : "") + tomlString(text);
    }
    return out + "]";
}

} // namespace

std::vector<std::string> missingServiceSettings(const RootLayout& layout,
                                                const Platform::Config& configuration,
                                                const std::string& masterServer)
{
    std::vector<std::string> missing;
    const auto require = [&missing](const std::string& configured, const char* key,
                                    const std::string& value) {
        if (configured.empty()) {
            missing.push_back(std::string(key) + " = " + tomlString(value));
        }
    };
    require(configuration.masterServer, "master_server", masterServer);
    require(configuration.tlsCertificate, "tls.certificate", layout.hostCertificate());
    require(configuration.tlsKey, "tls.key", layout.hostKey());
    require(configuration.tlsCa, "tls.ca", layout.authorityCertificate());
    return missing;
}

std::string configurationText(const RootLayout& layout, const Dal::DbConnectionSettings& database,
                              const std::string& masterServer)
{
    std::string text = "# Made by ksrbac-sandbox init. It may hold a password: for its owner's eyes only.\n"
                       "master_server = ";
    text += tomlString(masterServer);
    text += "\n\n[features]\nenabled = [1]\n"
            "\n[log]\nlevel = 8\ndestination = ";
    text += tomlString("file:" + layout.logFile());
    text += "\n\n[tls]\ncertificate = " + tomlString(layout.hostCertificate());
    text += "\nkey = " + tomlString(layout.hostKey());
    text += "\nca = " + tomlString(layout.authorityCertificate());
    text += "\n\n[database]\nconnection = " + tomlString(database.connectionString);
    text += "\non_connect = " + tomlArray(database.onConnect) + "\n";
    try {
        const Dal::DbConnectionSettings read =
            databaseSettings(Platform::parseConfig(text, layout.configuration()));
        if (read.connectionString != database.connectionString || read.onConnect != database.onConnect) {
            throw InputError("a configuration cannot hold this database connection");
        }
    } catch (const Platform::ConfigError& error) {
        throw InputError(
            std::string("a configuration cannot hold this root, master server or database connection: ") +
            error.what());
    }
    return text;
}

Platform::Config loadConfiguration(const RootLayout& layout)
{
    std::optional<Platform::Config> configuration = findConfiguration(layout.configuration());
    if (!configuration) {
        throw InputError(layout.configuration() + " is missing: run 'ksrbac-sandbox init --root " +
                         layout.root() + "' first");
    }
    return *std::move(configuration);
}

Dal::DbConnectionSettings loadDatabaseSettings(const RootLayout& layout)
{
    return databaseSettings(loadConfiguration(layout));
}

} // namespace keepsafe_sandbox
