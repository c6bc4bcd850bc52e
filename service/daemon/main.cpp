#include <optional>
#include <string>

#include <CLI/CLI.hpp>

#include <keepsafe/platform/config/installation.h>

#include "daemon/configuration.h"
#include "daemon/run_program.h"
#include "daemon/serve.h"
#include "errors/InputError.h"

namespace {

using namespace keepsafe_sandbox;
namespace Platform = Tessara::Keepsafe::Platform;

constexpr unsigned LONGEST_LOCK_WAIT = 60'000;

struct Options {
    std::string root = Platform::installationRoot();
    std::optional<std::string> configuration;
    std::optional<std::string> listen;
    unsigned lockWait = 2000;
};

void run(const Options& options)
{
    Platform::setInstallationRoot(options.root);
    const std::string path =
        options.configuration.value_or(Platform::installationRoot() + "/etc/keepsafe.toml");
    const std::optional<Platform::Config> configuration = findConfiguration(path);
    if (!configuration) {
        throw InputError(path + " is missing");
    }
    const ServiceSettings settings = {options.root, listenAddress(options.listen, *configuration, path),
                                      serverTlsFiles(*configuration, path), databaseSettings(*configuration),
                                      std::chrono::milliseconds(options.lockWait)};
    Platform::applyLogConfig(*configuration, "ksrbacd");
    serve(settings);
}

int parseAndRun(int argc, char** argv)
{
    Options options;
    CLI::App program(
        "The access-control service: keeps roles, managed objects and access definitions in a "
        "database, answers the product's processes over HTTPS, and publishes the access cache that "
        "their decisions come from",
        "ksrbacd");
    program.set_version_flag("--version", "ksrbacd (keepsafe-rbac) " KEEPSAFE_VERSION,
                             "Show the version and exit");
    program
        .add_option("--root", options.root,
                    "Installation root whose processes read the access cache, an absolute path")
        ->type_name("DIR")
        ->capture_default_str();
    program
        .add_option("--config", options.configuration,
                    "Configuration, in the form of keepsafe.toml; without it, etc/keepsafe.toml under the "
                    "installation root")
        ->type_name("FILE");
    program
        .add_option("--listen", options.listen,
                    "Where to listen, as in 0.0.0.0:1556 or [::]:1556; without it at port 1556 of the master "
                    "server that the configuration names")
        ->type_name("ADDRESS:PORT");
    program
        .add_option(
            "--lock-wait", options.lockWait,
            "Milliseconds for which a change waits for a lock that others hold, before it is answered "
            "that it is stored but not yet published")
        ->type_name("MS")
        ->check(CLI::Range(0U, LONGEST_LOCK_WAIT))
        ->capture_default_str();
    program.footer(
        "It stays in the foreground, prints a line when clients can connect, and ends with SIGTERM or "
        "SIGINT.\n"
        "Exit status: 0 ended by a signal, 1 the system or the database refused a step, 2 usage or an "
        "unusable configuration.");
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return program.exit(error) == 0 ? EXIT_DONE : EXIT_BAD_INPUT;
    }
    run(options);
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("ksrbacd", [argc, argv] { return parseAndRun(argc, argv); });
}
