#ifndef KEEPSAFE_SERVICE_DAEMON_DAEMONOPTIONS_H
#define KEEPSAFE_SERVICE_DAEMON_DAEMONOPTIONS_H

#include <memory>
#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace keepsafe_service {

/// What the command line of ksrbacd says.
struct DaemonOptions {
    /// The installation root of the library.
    DaemonOptions();

    std::string root;
    std::optional<std::string> configuration;
    std::optional<std::string> listen;
    std::optional<std::string> monitor;
    unsigned lockWait = 2000;
};

/// The program with its options, which are read into `options`: the parser, the help, the manual page and the
/// completion are made from it.
[[nodiscard]] std::unique_ptr<CLI::App> daemonCommandLine(DaemonOptions& options, const std::string& version);

} // namespace keepsafe_service

#endif
