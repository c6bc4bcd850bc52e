#include <iostream>
#include <memory>
#include <optional>

#include "commands/commands.h"
#include "errors/InputError.h"
#include "input/read_input.h"
#include "root/initialize.h"

namespace keepsafe_sandbox {

using keepsafe_service::InputError;

namespace {

/// Longest connection string that a file may hold.
constexpr std::size_t MOST_CONNECTION_BYTES = 4096;

struct InitOptions {
    std::string root;
    std::optional<std::string> database;
    std::optional<std::string> databaseFile;
    std::vector<std::string> onConnect;
    std::optional<std::string> service;
};

std::optional<Tessara::Dal::DbConnectionSettings> wantedDatabase(const InitOptions& options)
{
    if (!options.database && !options.databaseFile) {
        if (!options.onConnect.empty()) {
            throw InputError("--on-connect: only together with --database or --database-file");
        }
        return std::nullopt;
    }
    Tessara::Dal::DbConnectionSettings settings;
    settings.connectionString =
        options.database ? *options.database : readTrimmedInput(*options.databaseFile, MOST_CONNECTION_BYTES);
    if (settings.connectionString.empty()) {
        throw InputError("the connection string is empty");
    }
    settings.onConnect = options.onConnect;
    return settings;
}

void init(const InitOptions& options)
{
    const RootLayout layout(options.root);
    for (const std::string& line : initializeRoot(layout, wantedDatabase(options), options.service)) {
        std::cout << line << '\n';
    }
}

} // namespace

void addInitCommand(CLI::App& program)
{
    const auto options = std::make_shared<InitOptions>();
    CLI::App* command = program.add_subcommand(
        "init", "Create a working installation root: configuration, keys, certificates, database");
    command->add_option("--root", options->root, "Installation root to make")->required()->type_name("DIR");
    CLI::Option* database =
        command
            ->add_option("--database", options->database,
                         "ODBC connection string of the database in place of a SQLite file of the root's "
                         "own. Other users can read it here while the command runs: a password belongs into "
                         "a file")
            ->type_name("CONNECTION");
    command
        ->add_option("--database-file", options->databaseFile,
                     "Read the connection string from a file; - is standard input")
        ->type_name("FILE|-")
        ->excludes(database);
    command
        ->add_option("--on-connect", options->onConnect,
                     "A statement to run on every new connection, such as one that attaches the schema "
                     "AUTH_MAIN; may be given several times. Without one, the schema is created")
        ->type_name("SQL")
        ->allow_extra_args(false);
    command
        ->add_option("--service", options->service,
                     "Address or host name at which the root's processes reach the access-control service; "
                     "without it 127.0.0.1")
        ->type_name("ADDRESS");
    command->footer("Example:\n"
                    "  ksrbac-sandbox init --root /tmp/ks\n"
                    "  ksrbac-sandbox init --root /tmp/ks --database-file connection.txt\n"
                    "  ksrbac-sandbox init --root /tmp/ks --service 127.0.0.2\n"
                    "Existing files are kept.");
    command->callback([options] { init(*options); });
}

} // namespace keepsafe_sandbox
