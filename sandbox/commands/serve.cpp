#include <memory>
#include <optional>

#include <keepsafe/platform/config/installation.h>

#include "commands/commands.h"
#include "daemon/configuration.h"
#include "daemon/serve.h"
#include "root/configuration.h"

namespace keepsafe_sandbox {

using keepsafe_service::databaseSettings;
using keepsafe_service::listenAddress;
using keepsafe_service::serve;
using keepsafe_service::ServiceSettings;

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

struct ServeOptions {
    std::string root;
    std::optional<std::string> listen;
};

void serveRoot(const ServeOptions& options)
{
    const RootLayout layout = existingRoot(options.root);
    const Platform::Config configuration = loadConfiguration(layout);
    ServiceSettings settings;
    settings.root = layout.root() + "/";
    settings.address = listenAddress(options.listen, configuration, layout.configuration());
    settings.tls = {layout.serverCertificate(), layout.serverKey(), layout.authorityCertificate()};
    settings.database = databaseSettings(configuration);
    Platform::setInstallationRoot(settings.root);
    Platform::applyLogConfig(configuration, "ksrbac-sandbox");
    serve(settings);
}

} // namespace

void addServeCommand(CLI::App& program)
{
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* command =
        program.add_subcommand("serve", "Offer the access-control service of an installation root");
    command->add_option("--root", options->root, "Installation root")->required()->type_name("DIR");
    command
        ->add_option("--listen", options->listen,
                     "Where to listen, as in 127.0.0.1:1556 or [::1]:1556; without it at port 1556 of the "
                     "master server that the configuration names")
        ->type_name("ADDRESS:PORT");
    command->footer("Example:\n"
                    "  ksrbac-sandbox serve --root /tmp/ks\n"
                    "It prints a line when clients can connect, and ends with SIGTERM or SIGINT.");
    command->callback([options] { serveRoot(*options); });
}

} // namespace keepsafe_sandbox
