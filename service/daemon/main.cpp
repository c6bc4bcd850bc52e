#include <memory>
#include <optional>
#include <string>

#include <keepsafe/platform/config/installation.h>

#include "commandline/parse_arguments.h"
#include "daemon/DaemonOptions.h"
#include "daemon/configuration.h"
#include "daemon/run_program.h"
#include "daemon/serve.h"
#include "errors/InputError.h"

namespace {

using namespace keepsafe_service;
namespace Platform = Tessara::Keepsafe::Platform;

MonitorAddress monitorAddress(const std::string& text)
{
    try {
        return MonitorAddress::parse(text);
    } catch (const InputError& error) {
        throw InputError(std::string("--monitor ") + error.what());
    }
}

void run(const DaemonOptions& options)
{
    Platform::setInstallationRoot(options.root);
    const std::string path =
        options.configuration.value_or(Platform::installationRoot() + "/etc/keepsafe.toml");
    const std::optional<Platform::Config> configuration = findConfiguration(path);
    if (!configuration) {
        throw InputError(path + " is missing");
    }
    ServiceSettings settings = {options.root, listenAddress(options.listen, *configuration, path),
                                serverTlsFiles(*configuration, path), databaseSettings(*configuration),
                                std::chrono::milliseconds(options.lockWait)};
    if (options.monitor) {
        settings.monitor = monitorAddress(*options.monitor);
    }
    settings.version = KEEPSAFE_VERSION;
    Platform::applyLogConfig(*configuration, "ksrbacd");
    serve(settings);
}

int parseAndRun(int argc, char** argv)
{
    DaemonOptions options;
    const std::unique_ptr<CLI::App> program = daemonCommandLine(options, KEEPSAFE_VERSION);
    if (parseArguments(*program, argc, argv)) {
        run(options);
    }
    return EXIT_DONE;
}

} // namespace

int main(int argc, char** argv)
{
    return runProgram("ksrbacd", [argc, argv] { return parseAndRun(argc, argv); });
}
