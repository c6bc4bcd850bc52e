#include "daemon/serve.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

#include <poll.h>
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

/// From the signal on, for whatever the service is doing. Longer than the listener waits for its requests.
constexpr std::chrono::milliseconds TIME_TO_END{1700};

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

/// Passes the wish to end on to the service, whatever state it is in.
class End {
public:
    void ask()
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isAsked_ = true;
        if (stop_) {
            stop_();
        }
    }

    [[nodiscard]] const std::atomic<bool>& isAsked() const noexcept { return isAsked_; }

    /// What `ask` does besides, until it is set to nothing.
    void setStop(std::function<void()> stop)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        stop_ = std::move(stop);
        if (isAsked_ && stop_) {
            stop_();
        }
    }

private:
    std::mutex mutex_;
    std::atomic<bool> isAsked_ = false;
    std::function<void()> stop_;
};

/// While it lives the listener stops when the service is to end.
class StopsListener {
public:
    StopsListener(End& end, HttpsListener& listener) : end_(end)
    {
        end_.setStop([&listener] { listener.stop(); });
    }
    ~StopsListener() { end_.setStop({}); }
    StopsListener(const StopsListener&) = delete;
    StopsListener& operator=(const StopsListener&) = delete;

private:
    End& end_;
};

/// Ends the process without waiting for what is going on, as a kill does. Standard error may be a pipe that
/// nobody reads: then nothing is said.
[[noreturn]] void endUnfinished()
{
    const std::string message =
        std::string(program_invocation_short_name) + ": ended while requests were being carried out\n";
    pollfd errors = {STDERR_FILENO, POLLOUT, 0};
    if (::poll(&errors, 1, 0) == 1 && (errors.revents & POLLOUT) != 0) {
        [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, message.data(), message.size());
    }
    std::_Exit(EXIT_REFUSED);
}

void run(const ServiceSettings& settings, const CacheLocation& location, End& end)
{
    std::optional<Router> router;
    HttpsListener listener(settings.address, settings.tls,
                           {[&router](const ServiceRequest& request) { return router->answer(request); },
                            Router::mostBodyBytes});

    Database database(settings.database);
    ensureSchema(database,
                 settings.database.onConnect.empty() ? SchemaOrigin::Create : SchemaOrigin::Attached);
    PosixFileSystem fileSystem;
    AccessControl accessControl(database, fileSystem, location,
                                {{settings.longestLockWait, &end.isAsked()}, {}});
    if (end.isAsked()) {
        return;
    }
    router.emplace(accessControl);

    if (!(std::cout << "listening on https://" << settings.address.text() << std::endl)) {
        throw std::runtime_error("cannot write standard output");
    }
    tellServiceManager("READY=1");
    const StopsListener stopsListener(end, listener);
    if (!listener.run()) {
        endUnfinished();
    }
}

} // namespace

void serve(const ServiceSettings& settings)
{
    const EndSignals signals;
    const CacheLocation location(settings.root, SERVICE_CACHE_ID);
    const ServiceLock lock(location, "the service");
    End end;
    std::future<void> running = std::async(std::launch::async, [&] {
        try {
            run(settings, location, end);
        } catch (...) {
            EndSignals::raise();
            throw;
        }
    });
    signals.wait();
    end.ask();
    if (running.wait_for(TIME_TO_END) != std::future_status::ready) {
        endUnfinished();
    }
    running.get();
}

} // namespace keepsafe_sandbox
