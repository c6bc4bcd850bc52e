#include <csignal>
#include <cstring>
#include <future>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>

#include <pthread.h>
#include <unistd.h>

#include <keepsafe/platform/config/installation.h>

#include "accesscontrol/AccessControl.h"
#include "commands/commands.h"
#include "database/schema.h"
#include "errors/InputError.h"
#include "files/PosixFileSystem.h"
#include "resources/Router.h"
#include "root/ServiceLock.h"
#include "root/configuration.h"
#include "server/HttpsListener.h"

namespace keepsafe_sandbox {

namespace Platform = Tessara::Keepsafe::Platform;

namespace {

struct ServeOptions {
    std::string root;
    std::optional<std::string> listen;
};

/// The signals that ask the service to end. Threads that are made while it lives are not interrupted by them.
class EndSignals {
public:
    EndSignals()
    {
        sigemptyset(&signals_);
        sigaddset(&signals_, SIGTERM);
        sigaddset(&signals_, SIGINT);
        const int error = ::pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
        if (error != 0) {
            throw std::runtime_error(std::string("cannot block signals: ") + std::strerror(error));
        }
    }

    void wait() const
    {
        int signal = 0;
        while (::sigwait(&signals_, &signal) != 0) {
        }
    }

    /// As if one of them had come.
    static void raise() { ::kill(::getpid(), SIGTERM); }

private:
    sigset_t signals_{};
};

/// Serves until a signal comes; what has ended the listener early is thrown.
void serveUntilSignal(HttpsListener& listener, const EndSignals& signals)
{
    std::future<void> serving = std::async(std::launch::async, [&listener] {
        try {
            listener.run();
        } catch (...) {
            EndSignals::raise();
            throw;
        }
    });
    signals.wait();
    listener.stop();
    serving.get();
}

Platform::Config loadConfiguration(const RootLayout& layout)
{
    std::optional<Platform::Config> configuration = findConfiguration(layout);
    if (!configuration) {
        throw InputError(layout.configuration() + " is missing: run 'ksrbac-sandbox init --root " +
                         layout.root() + "' first");
    }
    return *configuration;
}

ListenAddress listenAddress(const ServeOptions& options, const RootLayout& layout,
                            const Platform::Config& configuration)
{
    if (options.listen) {
        return ListenAddress::parse(*options.listen);
    }
    if (configuration.masterServer.empty()) {
        throw InputError(layout.configuration() +
                         " names no master server: add 'master_server', or say where with --listen");
    }
    return {configuration.masterServer};
}

void serve(const ServeOptions& options)
{
    const RootLayout layout(options.root);
    const Platform::Config configuration = loadConfiguration(layout);
    const ListenAddress address = listenAddress(options, layout, configuration);
    Platform::setInstallationRoot(layout.root().empty() ? "/" : layout.root());
    Platform::applyLogConfig(configuration, "ksrbac-sandbox");

    const EndSignals signals;
    const ServiceLock lock(layout, "the service");
    std::optional<Router> router;
    HttpsListener listener(address,
                           {layout.serverCertificate(), layout.serverKey(), layout.authorityCertificate()},
                           {[&router](const ServiceRequest& request) { return router->answer(request); },
                            Router::mostBodyBytes});

    const Tessara::Dal::DbConnectionSettings settings = databaseSettings(configuration);
    Database database(settings);
    ensureSchema(database, settings.onConnect.empty() ? SchemaOrigin::Create : SchemaOrigin::Attached);
    PosixFileSystem fileSystem;
    AccessControl accessControl(database, fileSystem, {options.root, SERVICE_CACHE_ID});
    router.emplace(accessControl);

    if (!(std::cout << "listening on https://" << address.text() << std::endl)) {
        throw std::runtime_error("cannot write standard output");
    }
    serveUntilSignal(listener, signals);
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
    command->callback([options] { serve(*options); });
}

} // namespace keepsafe_sandbox
