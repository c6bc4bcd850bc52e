#include "daemon/DaemonOptions.h"

#include <keepsafe/platform/config/installation.h>

namespace keepsafe_service {

namespace {

constexpr unsigned LONGEST_LOCK_WAIT = 60'000;

} // namespace

DaemonOptions::DaemonOptions() : root(Tessara::Keepsafe::Platform::installationRoot()) {}

std::unique_ptr<CLI::App> daemonCommandLine(DaemonOptions& options, const std::string& version)
{
    auto made = std::make_unique<CLI::App>(
        "The access-control service: keeps roles, managed objects and access definitions in a "
        "database, answers the product's processes over HTTPS, and publishes the access cache that "
        "their decisions come from",
        "ksrbacd");
    CLI::App& program = *made;
    program.set_version_flag("--version", "ksrbacd (keepsafe-rbac) " + version, "Show the version and exit");
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
            "--monitor", options.monitor,
            "Where monitoring systems of this host are answered over plain HTTP, as 127.0.0.1:9156, "
            "[::1]:9156 or unix:/run/ksrbacd/monitor: /health, /ready and /metrics; without it nowhere")
        ->type_name("ADDRESS:PORT|unix:PATH");
    program
        .add_option(
            "--lock-wait", options.lockWait,
            "Milliseconds for which a change waits for a lock that others hold, before it is answered "
            "that it is stored but not yet published")
        ->type_name("MS")
        ->check(CLI::Range(0U, LONGEST_LOCK_WAIT))
        ->capture_default_str();
    program.footer("It stays in the foreground, prints a line when clients can connect, and ends\n"
                   "with SIGTERM or SIGINT.\n"
                   "Exit status:\n"
                   "  0  ended by a signal\n"
                   "  1  the system or the database refused a step\n"
                   "  2  usage, or an unusable configuration\n"
                   "  4  standard output could not be written");
    return made;
}

} // namespace keepsafe_service
