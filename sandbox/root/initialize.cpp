#include "root/initialize.h"

#include <algorithm>
#include <filesystem>

#include "daemon/configuration.h"
#include "database/Database.h"
#include "database/schema.h"
#include "errors/InputError.h"
#include "files/new_file.h"
#include "root/certificates.h"
#include "root/configuration.h"
#include "root/signing_keys.h"

namespace keepsafe_sandbox {

using keepsafe_service::createFile;
using keepsafe_service::Database;
using keepsafe_service::databaseSettings;
using keepsafe_service::ensureFolder;
using keepsafe_service::ensureSchema;
using keepsafe_service::findConfiguration;
using keepsafe_service::InputError;
using keepsafe_service::OWNER_ONLY;
using keepsafe_service::SchemaContent;
using keepsafe_service::SchemaOrigin;

namespace Dal = Tessara::Dal;
namespace Platform = Tessara::Keepsafe::Platform;

namespace {

constexpr int ENFORCEMENT_FEATURE = 1;

/// The connection's own database is empty and in memory: everything is in the attached file.
Dal::DbConnectionSettings ownDatabase(const RootLayout& layout)
{
    std::string quotedPath;
    for (const char c : layout.database()) {
        quotedPath.append(c == '\'' ? 2 : 1, c);
    }
    Dal::DbConnectionSettings settings;
    // How long the driver waits for a writer, in milliseconds.
    settings.connectionString = "Driver=SQLite3;Database=:memory:;Timeout=10000;";
    settings.onConnect = {"ATTACH DATABASE '" + quotedPath + "' AS AUTH_MAIN"};
    return settings;
}

bool isSame(const Dal::DbConnectionSettings& left, const Dal::DbConnectionSettings& right)
{
    return left.connectionString == right.connectionString && left.onConnect == right.onConnect;
}

Dal::DbConnectionSettings chooseDatabase(const RootLayout& layout,
                                         const std::optional<Platform::Config>& configuration,
                                         const std::optional<Dal::DbConnectionSettings>& wanted)
{
    if (!configuration) {
        return wanted ? *wanted : ownDatabase(layout);
    }
    Dal::DbConnectionSettings configured = databaseSettings(*configuration);
    if (wanted && !isSame(*wanted, configured)) {
        throw InputError(layout.configuration() + " names another database: change it there, or move the "
                                                  "file away");
    }
    return configured;
}

std::string chooseService(const RootLayout& layout, const std::optional<Platform::Config>& configuration,
                          const std::optional<std::string>& wanted)
{
    if (!configuration || configuration->masterServer.empty()) {
        return wanted.value_or(OWN_MASTER_SERVER);
    }
    if (wanted && *wanted != configuration->masterServer) {
        throw InputError(layout.configuration() + " names another master server, " +
                         configuration->masterServer + ": change it there, or move the file away");
    }
    return configuration->masterServer;
}

void ensureFolders(const RootLayout& layout)
{
    constexpr mode_t open = 0755;
    constexpr mode_t closed = 0700;
    const auto above = [](const std::string& path) {
        return std::filesystem::path(path).parent_path().string();
    };
    ensureFolder(above(layout.configuration()), open);
    ensureFolder(above(layout.logFile()), open);
    ensureFolder(above(layout.publicKey()), open);
    ensureFolder(layout.accessCaches(), open);
    ensureFolder(layout.tlsFolder(), open);
    ensureFolder(layout.privateFolder(), closed);
    ensureFolder(layout.serviceTlsFolder(), closed);
}

std::string line(bool isMade, const std::string& what) { return (isMade ? "made " : "kept ") + what; }

std::string databaseLine(const SchemaContent& content)
{
    return "the database has the tables of AUTH_MAIN, with " + std::to_string(content.tokens) +
           " tokens and " + std::to_string(content.criteria) + " criteria";
}

std::string configurationLine(const RootLayout& layout, const std::optional<Platform::Config>& kept)
{
    std::string text = line(!kept, layout.configuration());
    if (kept && kept->enabledFeatures.count(ENFORCEMENT_FEATURE) == 0) {
        text += ", where feature 1, role-based enforcement, is off";
    }
    return text;
}

/// What to add to an existing configuration of a root that is older than its service.
void addMissingSettings(const RootLayout& layout, const Platform::Config& kept, const std::string& service,
                        std::vector<std::string>& lines)
{
    const std::vector<std::string> missing = missingServiceSettings(layout, kept, service);
    if (missing.empty()) {
        return;
    }
    lines.push_back("to reach the service, add to " + layout.configuration() +
                    ", at its beginning, what it leaves out:");
    for (const std::string& setting : missing) {
        lines.push_back("    " + setting);
    }
}

std::vector<std::string> ensureKeysAndCertificates(const RootLayout& layout, const std::string& service)
{
    std::vector<EnsuredFile> files = ensureSigningKeys(layout);
    const std::vector<EnsuredFile> certificates = ensureCertificates(layout, service);
    files.insert(files.end(), certificates.begin(), certificates.end());
    std::vector<std::string> lines(files.size());
    std::transform(files.begin(), files.end(), lines.begin(),
                   [](const EnsuredFile& file) { return line(file.isMade, file.path); });
    return lines;
}

} // namespace

std::vector<std::string> initializeRoot(const RootLayout& layout,
                                        const std::optional<Dal::DbConnectionSettings>& wantedDatabase,
                                        const std::optional<std::string>& wantedService)
{
    const std::optional<Platform::Config> configuration = findConfiguration(layout.configuration());
    const Dal::DbConnectionSettings settings = chooseDatabase(layout, configuration, wantedDatabase);
    const std::string service = chooseService(layout, configuration, wantedService);
    requireAddressOrHostName(service);
    const std::string text = configuration ? "" : configurationText(layout, settings, service);

    ensureFolders(layout);
    std::vector<std::string> lines = ensureKeysAndCertificates(layout, service);
    if (isSame(settings, ownDatabase(layout))) {
        // An empty file is an empty database; SQLite itself would let the umask decide who may read it.
        lines.push_back(line(createFile(layout.database(), OWNER_ONLY, ""), layout.database()));
    }
    Database connection(settings);
    lines.push_back(databaseLine(ensureSchema(
        connection, settings.onConnect.empty() ? SchemaOrigin::Create : SchemaOrigin::Attached)));
    // The last step: a configuration appears when everything that it names is there.
    const bool isMade = !configuration && createFile(layout.configuration(), OWNER_ONLY, text);
    const auto kept = isMade ? std::nullopt : findConfiguration(layout.configuration());
    if (kept) {
        // Another process may have made it meanwhile, for another database or service.
        (void)chooseDatabase(layout, kept, settings);
        (void)chooseService(layout, kept, service);
    }
    lines.push_back(configurationLine(layout, kept));
    if (kept) {
        addMissingSettings(layout, *kept, service, lines);
    }
    return lines;
}

} // namespace keepsafe_sandbox
