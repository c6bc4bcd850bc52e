#include "daemon/serve.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <future>
#include <iostream>
#include <optional>
#include <stdexcept>

#include <pthread.h>
#include <unistd.h>

#include "accesscontrol/AccessControl.h"
#include "daemon/ServiceLock.h"
#include "daemon/run_program.h"
#include "daemon/service_manager.h"
#include "database/schema.h"
#include "files/PosixFileSystem.h"
#include "resources/Router.h"

namespace keepsafe_sandbox {

namespace {

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

    /// Acts as if one of them had arrived.
    static void raise() { ::kill(::getpid(), SIGTERM); }

private:
    sigset_t signals_{};
};

/// Serves until a signal arrives; throws if something else ends the listener. A request that takes too long
/// does not hold up the end of the program: it stays unanswered, as when the service is killed.
void serveUntilSignal(HttpsListener& listener, const EndSignals& signals)
{
    std::future<bool> serving = std::async(std::launch::async, [&listener] {
        try {
            return listener.run();
        } catch (...) {
            EndSignals::raise();
            throw;
        }
    });
    signals.wait();
    listener.stop();
    if (!serving.get()) {
        std::cerr << program_invocation_short_name << ": ended while requests were being carried out"
                  << std::endl;
        std::_Exit(EXIT_REFUSED);
    }
}

} // namespace

void serve(const ServiceSettings& settings)
{
    const EndSignals signals;
    const CacheLocation location(settings.root, SERVICE_CACHE_ID);
    const ServiceLock lock(location, "the service");
    std::optional<Router> router;
    HttpsListener listener(settings.address, settings.tls,
                           {[&router](const ServiceRequest& request) { return router->answer(request); },
                            Router::mostBodyBytes});

    Database database(settings.database);
    ensureSchema(database,
                 settings.database.onConnect.empty() ? SchemaOrigin::Create : SchemaOrigin::Attached);
    PosixFileSystem fileSystem;
    AccessControl accessControl(database, fileSystem, location);
    router.emplace(accessControl);

    if (!(std::cout << "listening on https://" << settings.address.text() << std::endl)) {
        throw std::runtime_error("cannot write standard output");
    }
    tellServiceManager("READY=1");
    serveUntilSignal(listener, signals);
}

} // namespace keepsafe_sandbox
